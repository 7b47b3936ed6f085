#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addProtectionRules(Rules&) {}

} // namespace hastool
