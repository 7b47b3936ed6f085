#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addRateRules(Rules&) {}

} // namespace hastool
