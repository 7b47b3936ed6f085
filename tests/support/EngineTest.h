// A download engine with everything around it.
#pragma once

#include <Hasnet/Curl.h>
#include <support/EngineOwner.h>
#include <support/FaultOrigin.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// An engine that never sleeps between passes, its owner and an origin.
template<typename Engine>
class EngineTestOf : public ::testing::Test {
protected:
    using Unit = hascommon::UnitObject;

    EngineTestOf()
        : engine(std::make_unique<Engine>(hascommon::CURL_THREAD_PACED, 0, unusedAppId())) {
        engine->Init(&owner, &traffic);
    }

    /// Begins a request with a key that is never stale.
    Unit* begin(const std::string& url, const std::string& range = {}, bool keepInfo = false,
                void* userData = nullptr) {
        Unit* unit = nullptr;
        lastResult = engine->BeginDownload2(engine->GetRequestKey(), url, range, keepInfo, unit,
                                            false, userData);
        return unit;
    }

    Unit* beginPath(const std::string& path) { return begin(origin.url(path)); }

    /// Runs a request to its end. @return its unit code
    int fetch(const std::string& url, const std::string& range = {}, bool keepInfo = false) {
        Unit* unit = begin(url, range, keepInfo);
        if (unit == nullptr)
            return lastResult;
        const int code = engine->EndDownload(unit);
        lastBody = owner.body(unit);
        return code;
    }

    int fetchPath(const std::string& path) { return fetch(origin.url(path)); }

    bool completes(Unit* unit) {
        return eventually([&] {
            int code = 0;
            long date = 0;
            return engine->GetCompleted(code, date) == unit;
        });
    }

    FaultOrigin origin;
    EngineOwner owner;
    TrafficRecorder traffic;
    std::unique_ptr<Engine> engine;
    std::string lastBody;
    std::atomic<int> lastResult{0};
};

using EngineTest = EngineTestOf<hascommon::Curl>;

} // namespace test
