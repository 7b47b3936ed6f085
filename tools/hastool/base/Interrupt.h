// Ctrl-C.
#pragma once

namespace hastool {

/// Makes SIGINT and SIGTERM ask the tool to stop. A second one ends it at once.
void catchInterrupts();

/// Whether one of them came.
bool isInterrupted();

} // namespace hastool
