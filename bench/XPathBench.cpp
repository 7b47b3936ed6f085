// Queries on a manifest of one megabyte, by the reader and by libxml2 alone.
#include <Hasutil/HssXPathReader.h>

#include <benchmark/benchmark.h>

#include <string>

#include <libxml/parser.h>
#include <libxml/xpath.h>

namespace {

using hascommon::HssXPathReader;

constexpr const char* kElements[] = {
    "/SmoothStreamingMedia",
    "/SmoothStreamingMedia/StreamIndex[1]",
    "/SmoothStreamingMedia/StreamIndex[@Type='audio']",
    "/SmoothStreamingMedia/StreamIndex[2]/QualityLevel[1]",
    "/SmoothStreamingMedia/StreamIndex[1]/QualityLevel[3]",
    "/SmoothStreamingMedia/StreamIndex[1]/c[10000]",
    "/SmoothStreamingMedia/StreamIndex[1]/c[last()]",
};
constexpr const char* kTexts[] = {
    "/SmoothStreamingMedia/Protection/ProtectionHeader/text()",
    "/SmoothStreamingMedia/StreamIndex[2]/Note/text()",
    "/SmoothStreamingMedia/None/text()",
};
constexpr int kQueries = 10;

std::string makeManifest() {
    std::string text = "<SmoothStreamingMedia MajorVersion='2' Duration='75000'>"
                       "<Protection><ProtectionHeader>AbCd==</ProtectionHeader></Protection>";
    for (const char* type : {"video", "audio"}) {
        text += "<StreamIndex Type='" + std::string(type) + "' Duration='75000'><Note>1</Note>";
        for (int i = 0; i < 8; ++i)
            text += "<QualityLevel Bitrate='" + std::to_string(i * 300000) + "' Duration='1'/>";
        for (int i = 0; i < 17000; ++i)
            text += "<c t='" + std::to_string(i * 20000000LL) + "' Duration='2'/>";
        text += "</StreamIndex>";
    }
    return text + "</SmoothStreamingMedia>";
}

void countQueries(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kQueries);
}

void queryByReader(benchmark::State& state) {
    const std::string manifest = makeManifest();
    HssXPathReader reader;
    reader.Load(manifest.data(), static_cast<int>(manifest.size()));
    for (auto _ : state) {
        for (const char* xpath : kElements)
            benchmark::DoNotOptimize(reader.GetXmlParamAttr(xpath, "Duration"));
        for (const char* xpath : kTexts)
            benchmark::DoNotOptimize(reader.GetXmlParamStr(xpath));
    }
    countQueries(state);
}
BENCHMARK(queryByReader)->Unit(benchmark::kMicrosecond);

const xmlNode* first(const xmlXPathObject* result) {
    const bool some =
        result != nullptr && result->nodesetval != nullptr && result->nodesetval->nodeNr > 0;
    return some ? result->nodesetval->nodeTab[0] : nullptr;
}

void queryByLibxml2(benchmark::State& state) {
    const std::string manifest = makeManifest();
    xmlDoc* const document =
        xmlReadMemory(manifest.data(), static_cast<int>(manifest.size()), nullptr, nullptr, 0);
    xmlXPathContext* const context = xmlXPathNewContext(document);
    const auto evaluate = [context](const char* xpath) {
        return xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath), context);
    };
    for (auto _ : state) {
        for (const char* xpath : kElements) {
            xmlXPathObject* const result = evaluate(xpath);
            xmlChar* const value =
                xmlGetProp(first(result), reinterpret_cast<const xmlChar*>("Duration"));
            benchmark::DoNotOptimize(value);
            xmlFree(value);
            xmlXPathFreeObject(result);
        }
        for (const char* xpath : kTexts) {
            xmlXPathObject* const result = evaluate(xpath);
            benchmark::DoNotOptimize(first(result));
            xmlXPathFreeObject(result);
        }
    }
    countQueries(state);
    xmlXPathFreeContext(context);
    xmlFreeDoc(document);
}
BENCHMARK(queryByLibxml2)->Unit(benchmark::kMicrosecond);

} // namespace
