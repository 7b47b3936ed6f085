#include <hastool/check/RuleFamilies.h>

namespace hastool {

void addCertificateRules(Rules&) {}

} // namespace hastool
