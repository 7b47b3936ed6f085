// What the tests of the DASH DRM handlers share.
#pragma once

#include <Hasutil/ContentProtection_t.h>
#include <Hasutil/IDRMHandler.h>
#include <support/ExactBytes.h>
#include <support/LogCapture.h>
#include <support/Mp4Boxes.h>

#include <list>
#include <string>

#include <gtest/gtest.h>

namespace test {

constexpr char kPeriod = 3;
constexpr char kRepresentation = 7;

struct DrmRow {
    const char* schemeId;
    std::string systemId; ///< 16 bytes
};

inline DrmRow marlinRow() {
    return {"urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4",
            "\x5E\x62\x9A\xF5\x38\xDA\x40\x63\x89\x77\x97\xFF\xBD\x99\x02\xD4"};
}
inline DrmRow playReadyRow() {
    return {"urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95",
            "\x9A\x04\xF0\x79\x98\x40\x42\x86\xAB\x92\xE6\x5B\xE0\x88\x5F\x95"};
}
inline DrmRow qdrmRow() {
    return {"urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df",
            "\x78\xCB\xBD\x26\x22\x35\xA7\x11\xC8\x90\xF6\x6A\x56\xEE\x12\xDF"};
}

/// A descriptor of each system, with the PSSH data "data".
inline std::list<dashengine::ContentProtection_t> allDescriptors() {
    std::list<dashengine::ContentProtection_t> list;
    for (const DrmRow& row : {marlinRow(), playReadyRow(), qdrmRow()}) {
        list.emplace_back();
        list.back().schemeIdUri = row.schemeId;
        list.back().pssh = "ZGF0YQ==";
    }
    return list;
}

/// The lines that are written in colour, behind their prefix.
inline std::string refusalLine(int code) {
    return "\033[1;31;42m[* ERROR] DRM hander Last Error Code ( " + std::to_string(code) +
           " ) \033[0m ";
}
inline std::string processLine() {
    return "\033[1;31;42m [*] ProcessSegmentData( 3,  7 ) \033[0m";
}

/// Passes a chunk. @return what came out, or "refused"
inline std::string pass(hascommon::IDRMHandler& handler, const std::string& chunk) {
    const ExactBytes in(chunk);
    const ExactBytes out(chunk.size() + 1000);
    unsigned int size = 0;
    if (handler.ProcessSegmentData(kPeriod, kRepresentation, in.data(), in.uintSize(), out.data(),
                                   size) != 1)
        return "refused";
    return {reinterpret_cast<char*>(out.data()), size};
}

/// Ends a segment's data. @return what came out, or "refused"
inline std::string finish(hascommon::IDRMHandler& handler) {
    const ExactBytes out(1000);
    unsigned char* place = out.data();
    unsigned int size = 0;
    if (handler.ProcessSegmentFinalData(kPeriod, kRepresentation, place, size) != 1)
        return "refused";
    EXPECT_EQ(place, out.data());
    return {reinterpret_cast<char*>(out.data()), size};
}

/// How many bytes the handler keeps back.
inline unsigned int waiting(hascommon::IDRMHandler& handler) {
    unsigned int size = 77;
    EXPECT_EQ(handler.GetUndecryptedData(kPeriod, kRepresentation, size), 1);
    return size;
}

inline std::string freeBox() {
    return mp4Box("free", "123456789");
}
inline std::string emptyMovie() {
    return mp4Box("moov", fullBox("mvhd", 0, 0, zeros(96)));
}
inline std::string brokenBox() {
    return be(4) + "free" + zeros(8);
}

} // namespace test
