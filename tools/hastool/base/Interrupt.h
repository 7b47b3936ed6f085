// Ctrl-C.
#pragma once

namespace hastool {

/// Makes SIGINT and SIGTERM ask the tool to stop. The same signal again ends it at once.
void catchInterrupts();

/// Whether SIGINT or SIGTERM has come.
bool isInterrupted();

} // namespace hastool
