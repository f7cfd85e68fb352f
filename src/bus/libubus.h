// libubus.h: the headers of libubus and libubox, of any year, as C++ can include them.
#pragma once

// Those of 2014 have no extern "C" of their own. The standard headers they include must come first: in C++ they hold
// templates, which cannot be inside.
#include <errno.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <sys/types.h>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubus.h>
}

// A macro of theirs until autumn 2014, and a name inside the standard library's own headers.
#undef __init
