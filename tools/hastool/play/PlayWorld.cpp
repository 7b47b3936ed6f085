#include "PlayWorld.h"

#include "EngineFetcher.h"
#include "MachineClock.h"

namespace hastool {

PlayWorld realWorld() {
    static const MachineClock clock;
    return {clock, [](const EngineOptions& options, hascommon::IDownloadEvent& traffic) {
                return std::make_unique<EngineFetcher>(options, traffic);
            }};
}

} // namespace hastool
