// The page that lists a folder, as it is built in.
#pragma once

namespace hastool {

extern const char kFolderHtml[];

} // namespace hastool
