#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addHlsLiveRules(Rules&) {}

} // namespace hastool
