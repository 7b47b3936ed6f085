// The order of virtual operations, which programs that were built earlier rely on. Nothing here
// knows the library's headers: the tables are read from the library's file.
#include <support/Child.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

void* library() {
    static void* const handle = dlopen(LIBRARY_PATH, RTLD_NOW);
    return handle;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

/// A name as a source would write it, without the library's namespace.
std::string readable(const char* symbol) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    std::string text = status == 0 ? name.get() : symbol;
    replaceAll(text,
               "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
               "string");
    replaceAll(text, ", std::allocator<int> ", "");
    replaceAll(text, ", std::allocator<hascommon::bitrateParam_t> ", "");
    replaceAll(text, ", std::allocator<std::pair<int, int> > ", "");
    replaceAll(text, "[abi:cxx11]", "");
    replaceAll(text, "hascommon::", "");
    replaceAll(text, "std::", "");
    return text;
}

/// Names by their distance from the library's begin. Equal functions may share one place.
using Names = std::map<std::uintptr_t, std::set<std::string>>;

Names exportedNames() {
    Names names;
    std::istringstream lines(test::runOk({"nm", "--dynamic", "--defined-only", LIBRARY_PATH}));
    std::string place;
    std::string kind;
    for (std::string symbol; lines >> place >> kind >> symbol;)
        names[std::stoull(place, nullptr, 16)].insert(readable(symbol.c_str()));
    return names;
}

/// What a class's table holds, word by word: the names of what a word points to, "hidden" for what
/// the library does not export, the number itself for what is not one of its addresses. The first
/// two words are the offset to the object's top and the type information.
std::vector<std::set<std::string>> wordsOf(const std::string& mangledClass) {
    static const Names names = exportedNames();
    void* const start = dlsym(library(), ("_ZTV" + mangledClass).c_str());
    Dl_info table{};
    void* extra = nullptr;
    if (start == nullptr || dladdr1(start, &table, &extra, RTLD_DL_SYMENT) == 0)
        return {};
    const auto* words = static_cast<const std::uintptr_t*>(start);
    const std::size_t count = static_cast<const ElfW(Sym)*>(extra)->st_size / sizeof(*words);
    const auto begin = reinterpret_cast<std::uintptr_t>(table.dli_fbase);
    std::vector<std::set<std::string>> result;
    for (std::size_t i = 0; i < count; ++i) {
        Dl_info target{};
        const auto found = names.find(words[i] - begin);
        if (found != names.end())
            result.push_back(found->second);
        else if (dladdr(reinterpret_cast<const void*>(words[i]), &target) != 0)
            result.push_back({"hidden"});
        else
            result.push_back({std::to_string(static_cast<std::intptr_t>(words[i]))});
    }
    return result;
}

struct Row {
    const char* name;
    const char* mangledClass;
    std::vector<std::string> slots;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << row.name;
}

/// The operations of a class, each with the class's name before it.
std::vector<std::string> of(const std::string& name, const std::vector<std::string>& operations) {
    std::vector<std::string> result;
    for (const std::string& operation : operations)
        result.push_back(name + "::" + operation);
    return result;
}

/// Its destructor does nothing and is inline in every program that needs it.
std::vector<std::string> factorySlots() {
    std::vector<std::string> slots =
        of("ConcreateCurlFactory<CurlEasy, CurlMulti>",
           {"CreateCurlEasy()", "CreateCurlMulti()", "ReleaseCurlEasy(ICurlEasy*)",
            "ReleaseCurlMulti(ICurlMulti*)"});
    slots.insert(slots.begin(), 2, "hidden");
    return slots;
}

std::vector<std::string> curlSlots() {
    return of(
        "Curl",
        {
            "~Curl()",
            "~Curl()",
            "Init(ICurlCB*, IDownloadEvent*)",
            "StartLoop()",
            "Quit()",
            "Reset()",
            "BeginDownload(unsigned int, string const&, bool, UnitObject*&, bool, void*)",
            "BeginDownload2(unsigned int, string const&, string const&, bool, UnitObject*&, bool, "
            "void*)",
            "BeginDownload3(int, UnitObject*&, bool, void*)",
            "EndDownload(UnitObject*&)",
            "Cancel(UnitObject*)",
            "Pause(UnitObject*)",
            "Resume(UnitObject*)",
            "IsDownloading(UnitObject*)",
            "IsPause(UnitObject*)",
            "RunOnce()",
            "GetData(UnitObject*)",
            "SetData(UnitObject*, void*)",
            "IsIdle()",
            "GetRequestKey()",
            "GetPos(UnitObject*)",
            "GetSize(UnitObject*)",
            "GetCompleted(int&, long&)",
            "SetCookie(string const&)",
            "SetProxy(string const&)",
            "SetAgent(string const&)",
            "SetConnTimeout(int)",
            "SetLowSpeedTimeout(int)",
            "getEngineInfo(unsigned int*)",
            "setEngineInfo(unsigned int*)",
            "LockMutItem()",
            "UnlockMutItem()",
            "ResultIf(UnitObject*, CURLcode, long, int)",
        });
}

/// The table of an HLS engine is the plain one's but for the destructor and two operations.
std::vector<std::string> curlHlsSlots() {
    std::vector<std::string> slots = curlSlots();
    const auto replace = [&](const std::string& from, const std::string& to) {
        std::replace(slots.begin(), slots.end(), "Curl::" + from, "Curl_HLS::" + to);
    };
    replace("~Curl()", "~Curl_HLS()");
    replace("SetCookie(string const&)", "SetCookie(string const&)");
    replace("ResultIf(UnitObject*, CURLcode, long, int)",
            "ResultIf(UnitObject*, CURLcode, long, int)");
    return slots;
}

std::vector<std::string> bufferSlots(const std::string& name) {
    return of(name, {
                        "~" + name + "()",
                        "~" + name + "()",
                        "PushBack(void*, unsigned int)",
                        "Empty()",
                        "Size()",
                        "FreeSize()",
                        "MaxSize()",
                        "SetMaxSize(unsigned int)",
                        "AdjustSize(unsigned int)",
                        "PopFront()",
                        "PopFront(unsigned int, void*)",
                        "GetFront(void*)",
                        "Clear()",
                        "GetString()",
                    });
}

/// The table has a second part for the download engine, whose thunks lead to the same object.
std::vector<std::string> checkerSlots() {
    std::vector<std::string> slots =
        of("BandwidthChecker", {
                                   "~BandwidthChecker()",
                                   "~BandwidthChecker()",
                                   "Start()",
                                   "Stop()",
                                   "IsMonitoring()",
                                   "OnPolling(long long)",
                                   "SetMonitorInterval(unsigned int)",
                                   "GetMonitorInterval()",
                                   "GetCurrentBandwidth()",
                                   "GetBeginingBandwidth()",
                                   "GetCurrentMinBandwidth()",
                                   "GetCurrentAvgBandwidth()",
                                   "GetAverageBandwidth()",
                                   "GetVariationRateBandwidth()",
                                   "GetDownloadPerHour()",
                                   "AddRxTimeInfo(unsigned int, unsigned int, unsigned int)",
                                   "ResetRxBaseTime(long long)",
                               });
    slots.push_back(std::to_string(-static_cast<std::intptr_t>(sizeof(void*))));
    slots.emplace_back("typeinfo for BandwidthChecker");
    for (const char* operation :
         {"~BandwidthChecker()", "~BandwidthChecker()",
          "AddRxTimeInfo(unsigned int, unsigned int, unsigned int)", "ResetRxBaseTime(long long)"})
        slots.push_back("non-virtual thunk to BandwidthChecker::" + std::string(operation));
    return slots;
}

std::vector<std::string> handlerSlots(const std::string& name) {
    return of(
        name,
        {
            "~" + name + "()",
            "~" + name + "()",
            "GetLastErrorCode()",
            "SetDRMProperty(Has_DRMPropertyType, string)",
            "AddSchemeInformation(int, int, MediaType, string const&)",
            "UpdateSchemeInformation(int, int, MediaType, string const&)",
            "DeletePeriod(int)",
            "OnContentStart(void*)",
            "GetUndecryptedData(int, int, unsigned int&)",
            "GetDRMDownloadInfo(int, int, int&, string&, unsigned char*&, unsigned int&)",
            "ProcessDRMInfo(int, int, int, unsigned int, unsigned char*, unsigned int)",
            "OnSegmentStart(int, int, int, void*, bool)",
            "ProcessSegmentData(int, int, unsigned char const*, unsigned int, unsigned char*, "
            "unsigned int&)",
            "ProcessSegmentFinalData(int, int, unsigned char*&, unsigned int&)",
            "OnSegmentEnd(int, int)",
            "OnContentEnd()",
            "SetExtendHandler(IDashDRMCallback*)",
            "ResetBuffer()",
            "GetDRMErrorCode(int*)",
            "GetDRMErrInfo(string&)",
            "SetDRMHeader(string)",
            "setContentProtectionInfo(int, int, void*)",
        });
}

std::vector<std::string> switcherSlots(const std::string& owner) {
    return of(owner,
              {"~" + owner + "()",
               "~" + owner + "()",
               "Init(IBandwidthChecker*)",
               "ResetData(vector<int> const&, bool)",
               "SetSwitchParam(int, int)",
               "ProcessAdaptiveSeg(int, unsigned int)",
               "ProcessAdaptiveSegLevel(unsigned int, unsigned int, bool)",
               "GetSatisfiedStreamIndex(int, int)",
               "GetMatchingStreamIndex(int)",
               "SetEnableSwitch(bool)",
               "GetEnableSwitch()",
               "SetBitrateLimit(vector<bitrateParam_t> const&, vector<pair<int, int>> const&)",
               "HasBitrateLimit()",
               "CheckBitrateLimit(int)",
               "SetAudioBitrate(int)",
               "GetAudioBitrate()",
               "GetStartBitrate()",
               "SetStartBitrate(int)",
               "SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL)",
               "GetStartBitrateLevel()"});
}

std::vector<Row> rows() {
    return {
        {"CurlEasy", "N9hascommon8CurlEasyE",
         of("CurlEasy", {"~CurlEasy()", "~CurlEasy()", "Perform()", "Reset()", "Pause()",
                         "Resume()", "GetInfoWithLong(CURLINFO, long*)",
                         "GetInfoWithDouble(CURLINFO, double*)", "SetOpt(CURLoption, void const*)",
                         "GetInfo(CURLINFO, void const*)", "GetLastError() const", "GetHandle()"})},
        {"CurlMulti", "N9hascommon9CurlMultiE",
         of("CurlMulti",
            {"~CurlMulti()", "~CurlMulti()", "AddHandle(ICurlEasy&)", "RemoveHandle(ICurlEasy&)",
             "Perform(int&)", "FDSet(fd_set*, fd_set*, fd_set*, int*)",
             "Select(int, fd_set*, fd_set*, fd_set*, timeval*)", "InfoRead(int&, CurlMsg&)",
             "GetLastError() const", "GetHandle()", "Poll(int, int)"})},
        {"Factory", "N9hascommon20ConcreateCurlFactoryINS_8CurlEasyENS_9CurlMultiEEE",
         factorySlots()},
        {"Curl", "N9hascommon4CurlE", curlSlots()},
        {"CurlHls", "N9hascommon8Curl_HLSE", curlHlsSlots()},
        {"BandwidthChecker", "N9hascommon16BandwidthCheckerE", checkerSlots()},
        {"AdaptiveSegSwitcher", "N9hascommon19AdaptiveSegSwitcherE",
         switcherSlots("AdaptiveSegSwitcher")},
        {"HybridSegSwitcher", "N9hascommon17HybridSegSwitcherE",
         switcherSlots("HybridSegSwitcher")},
        {"StringBuffer", "N9hascommon12StringBufferE", bufferSlots("StringBuffer")},
        {"CTSPacketBuffer", "N9hascommon15CTSPacketBufferE", bufferSlots("CTSPacketBuffer")},
        {"Packet", "N9hascommon6PacketE", of("Packet", {"~Packet()", "~Packet()"})},
        {"Marlin", "N9hascommon24DashMarlinCencDRMHandlerE",
         handlerSlots("DashMarlinCencDRMHandler")},
        {"PlayReady", "N9hascommon27DashPlayReadyCencDRMHandlerE",
         handlerSlots("DashPlayReadyCencDRMHandler")},
        {"Qdrm", "N9hascommon22DashQDRMCencDRMHandlerE", handlerSlots("DashQDRMCencDRMHandler")},
    };
}

class VtableTest : public ::testing::TestWithParam<Row> {};

TEST_P(VtableTest, OperationsStandInTheirOrder) {
    const auto words = wordsOf(GetParam().mangledClass);
    ASSERT_GE(words.size(), 2U) << "the library exports no such class";
    EXPECT_THAT(words[0], ::testing::Contains("0"));
    std::vector<::testing::Matcher<std::set<std::string>>> slots;
    for (const std::string& slot : GetParam().slots)
        slots.push_back(::testing::Contains(slot));
    EXPECT_THAT(std::vector(words.begin() + 2, words.end()), ::testing::ElementsAreArray(slots));
}

INSTANTIATE_TEST_SUITE_P(Class, VtableTest, ::testing::ValuesIn(rows()),
                         [](const auto& row) { return row.param.name; });

} // namespace
