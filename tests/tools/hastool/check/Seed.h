// A good presentation with one fault put into it.
#pragma once

#include "CheckedFolder.h"

#include <algorithm>
#include <functional>
#include <ostream>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace test {

/// What is broken, and which rule alone has to see it.
struct Seed {
    const char* code;
    std::function<CheckedFolder()> make; ///< the good presentation
    const char* manifest;
    std::function<void(CheckedFolder&)> put; ///< the fault
    hastool::Severity least = hastool::Severity::Warning;
};

inline std::ostream& operator<<(std::ostream& out, const Seed& seed) {
    return out << seed.code;
}

inline std::function<CheckedFolder()> builtIn(const std::string& name) {
    return [name] { return CheckedFolder(name); };
}

class SeededFault : public testing::TestWithParam<Seed> {
protected:
    void expectOnlyItsRule() const {
        const Seed& seed = GetParam();
        CheckedFolder good = seed.make();
        const hastool::Findings before = good.check(seed.manifest);
        EXPECT_EQ(codesOf(before, seed.least), std::set<std::string>()) << linesOf(before);
        CheckedFolder bad = seed.make();
        seed.put(bad);
        const hastool::Findings after = bad.check(seed.manifest);
        EXPECT_EQ(codesOf(after, seed.least), std::set<std::string>{seed.code}) << linesOf(after);
    }
};

/// "ts-tables-missing" as the name of a test.
inline std::string nameOfSeed(const testing::TestParamInfo<Seed>& info) {
    std::string name = info.param.code;
    std::replace(name.begin(), name.end(), '-', '_');
    return name + "_" + std::to_string(info.index);
}

} // namespace test
