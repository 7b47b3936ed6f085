#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addSmoothRules(Rules&) {}

} // namespace hastool
