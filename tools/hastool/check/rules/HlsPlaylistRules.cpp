#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addHlsPlaylistRules(Rules&) {}

} // namespace hastool
