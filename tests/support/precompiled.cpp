// Owner of the headers that the test programs have precompiled together.

#include <gtest/gtest.h>
