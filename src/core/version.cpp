#include <tq5/cellworks/core/version.hpp>

// The build passes the project version in CELLWORKS_VERSION_STRING, so that the
// library, its CMake package and its pkg-config file cannot disagree.
#ifndef CELLWORKS_VERSION_STRING
#error "CELLWORKS_VERSION_STRING must be defined by the build"
#endif

namespace tq5 {
namespace cellworks {

const char* version() noexcept { return CELLWORKS_VERSION_STRING; }

}  // namespace cellworks
}  // namespace tq5
