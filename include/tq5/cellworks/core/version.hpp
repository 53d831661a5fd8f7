/// @file
/// The version of the library that a program runs against.
#pragma once

#include <tq5/cellworks/export.hpp>

namespace tq5 {
namespace cellworks {

/// The version of the linked library, "major.minor.patch.tweak" (today
/// "4.4.0.0"): the project version of the build, the same that the CMake
/// package and `cellworks.pc` report. A program built against one release and
/// run against another can compare it with the version it expects.
/// @return a static string; never null.
/// @note Thread-safe: the string is constant for the life of the process.
CELLWORKS_API const char* version() noexcept;

}  // namespace cellworks
}  // namespace tq5
