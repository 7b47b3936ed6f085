#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addFragmentRules(Rules&) {}

} // namespace hastool
