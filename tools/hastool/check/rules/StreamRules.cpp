#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addStreamRules(Rules&) {}

} // namespace hastool
