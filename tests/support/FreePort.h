// Ports for servers that a test starts.
#pragma once

#include <cstdint>

namespace test {

/// A TCP port of 127.0.0.1 that nothing listens on at the moment. Another program may take it
/// before it is used, so that a server which fails to bind is tried again with a new one.
uint16_t freePort();

/// Whether something accepts connections on the port of 127.0.0.1.
bool accepts(uint16_t port);

} // namespace test
