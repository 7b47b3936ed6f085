// Owners of file descriptors, the tool's own.
#pragma once

#include <hastool/base/Descriptor.h>

namespace test {

using hastool::Descriptor;
using hastool::Gate;

} // namespace test
