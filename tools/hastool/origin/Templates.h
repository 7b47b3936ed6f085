// The files of the page that lists a folder, as they are built in.
#pragma once

namespace hastool {

extern const char kFolderHtml[];    ///< the page
extern const char kFolderRowHtml[]; ///< one name in it

} // namespace hastool
