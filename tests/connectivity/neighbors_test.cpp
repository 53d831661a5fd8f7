#include <gtest/gtest.h>
#include <tq5/cellworks.hpp>
