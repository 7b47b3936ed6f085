#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addDeliveryRules(Rules&) {}

} // namespace hastool
