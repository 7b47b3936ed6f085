#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addAlignmentRules(Rules&) {}

} // namespace hastool
