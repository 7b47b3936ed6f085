#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addDashRules(Rules&) {}

} // namespace hastool
