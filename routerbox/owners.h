// owners.h: system calls and failures of the box, for the values of its project file.
#pragma once

#include "failure.h"
#include "io.h"
