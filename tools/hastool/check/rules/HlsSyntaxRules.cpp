#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addHlsSyntaxRules(Rules&) {}

} // namespace hastool
