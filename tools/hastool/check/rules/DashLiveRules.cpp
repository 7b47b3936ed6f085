#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addDashLiveRules(Rules&) {}

} // namespace hastool
