// Libraries with a rule for tests: one each of an own switcher, the hybrid one, none, and without
// the function.
#include <Hasnet/AdaptiveSegSwitcher.h>
#include <Hasnet/HybridSegSwitcher.h>

namespace {

/// Always wants the second stream.
class SecondStream : public hascommon::AdaptiveSegSwitcher {
public:
    int ProcessAdaptiveSeg(int, unsigned int) override { return 1; }
};

} // namespace

#ifdef RULE_WITHOUT_FUNCTION
extern "C" __attribute__((visibility("default"))) hascommon::IBitrateSwitcher*
hastool_make_another(void) {
#else
extern "C" __attribute__((visibility("default"))) hascommon::IBitrateSwitcher*
hastool_make_switcher(void) {
#endif
#if defined(RULE_OF_HYBRID)
    return new hascommon::HybridSegSwitcher;
#elif defined(RULE_OF_NULL)
    return nullptr;
#else
return new SecondStream;
#endif
}
