#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addVideoRules(Rules&) {}

} // namespace hastool
