#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addHlsMasterRules(Rules&) {}

} // namespace hastool
