// What all these tests share.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <initializer_list>
#include <string>
#include <tuple>

#include <zel/util.h>
#include "support/exact.h"

using Text = const char*;

// A table of cases; the first column says why.
template <class... Column>
using Rows = std::initializer_list<std::tuple<Text, Column...>>;
