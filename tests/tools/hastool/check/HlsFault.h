// Faults that are put into a good presentation of HLS, and the one code that tells of each.
#pragma once

#include "CheckedFolder.h"

#include <functional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace hlsfault {

constexpr char kMaster[] = "master.m3u8";
constexpr char kIndex[] = "0/index.m3u8"; ///< of the first variant

struct Fault {
    const char* code;
    const char* name; ///< of the test
    std::function<void(CheckedFolder&)> put;
};

inline std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << fault.code;
}

inline std::string nameOf(const testing::TestParamInfo<Fault>& info) {
    return info.param.name;
}

/// Replaces a text in the playlists of all variants.
inline void replaceInAll(CheckedFolder& folder, const std::string& from, const std::string& to) {
    for (const std::string& path : folder.paths("", "index.m3u8"))
        folder.replace(path, from, to);
}

/// Puts lines below the version of a playlist.
inline void addToHead(CheckedFolder& folder, const std::string& path, const std::string& lines,
                      int version = 3) {
    folder.replace(path, "#EXT-X-VERSION:3\n",
                   "#EXT-X-VERSION:" + std::to_string(version) + "\n" + lines);
}

/// The manifests alone; what is live is not followed.
inline hastool::CheckOptions manifestOnly() {
    hastool::CheckOptions options;
    options.manifestOnly = true;
    options.liveSeconds = 1;
    return options;
}

/// The presentation with a fault gives its code, and no other one.
inline void expectAlone(const Fault& fault) {
    CheckedFolder folder("hls");
    fault.put(folder);
    const hastool::Findings findings = folder.check(kMaster, manifestOnly());
    EXPECT_EQ(codesOf(findings, hastool::Severity::Note), std::set<std::string>{fault.code})
        << linesOf(findings);
    for (const hastool::Finding& it : findings.all())
        EXPECT_EQ(it.place.where.compare(0, 18, "http://media.test/"), 0) << it.place.where;
}

/// What is put into the presentation is allowed.
inline void expectSilent(const std::function<void(CheckedFolder&)>& put) {
    CheckedFolder folder("hls");
    put(folder);
    EXPECT_EQ(linesOf(folder.check(kMaster, manifestOnly())), "");
}

} // namespace hlsfault
