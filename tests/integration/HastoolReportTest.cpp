#include "Browser.h"
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/MediaLadder.h>

#include <cmath>
#include <cstdio>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Browser;
using test::LoadedPage;
using test::MediaLadder;
using test::readFile;
using test::Reply;
using test::Request;
using test::runHastool;

namespace {

/// Serves segments slowly, one after a retry, one behind a redirect, and one not at all.
class HastoolReport : public testing::Test {
protected:
    HastoolReport()
        : m_ladder(m_dir.path() / "v", MediaLadder::Format::TransportStream, 16, {100, 300}) {
        m_origin.serve("/all/", m_ladder.folder().string());
        m_origin.onPrefix("/v/", [this](const Request& request) { return reply(request); });
    }

    Reply reply(const Request& request) {
        constexpr uint64_t kRate = 150000;
        const std::string name = request.path.substr(request.path.rfind('/') + 1);
        if (name == "1.ts" && m_refusals++ == 0)
            return Reply().status(503);
        if (name == "2.ts")
            return Reply().redirect("/all" + request.path.substr(2));
        if (name == "3.ts")
            return Reply().status(410);
        return Reply()
            .file((m_ladder.folder() / request.path.substr(3)).string())
            .header("Cache-Control", "max-age=9")
            .rate(kRate);
    }
    /// Leaves the trace in `m_trace` and the summary in `m_summary`.
    void play() {
        const test::Child::Result result =
            runHastool({"play", "--fast", "--json", "--trace", m_dir.file("t.json"), "--report",
                        page(), m_origin.url("/v/master.m3u8")});
        ASSERT_EQ(result.status, 0) << result.err;
        m_trace = json::parse(readFile(m_dir.file("t.json")));
        m_summary = json::parse(result.out);
    }
    /// The page's DOM when a script has run that acts on the downloads' chart, `svg`.
    std::string loadWith(const std::string& script) const {
        const std::string path = m_dir.write(
            "with.html", readFile(page()) +
                             "<script>{const svg = document.querySelectorAll('.chart > svg')[2];" +
                             script + "}</script>");
        const LoadedPage loaded = Browser().load("file://" + path);
        EXPECT_EQ(loaded.console, "");
        return loaded.dom;
    }
    std::string page() const { return m_dir.file("r.html"); }

    test::TempDir m_dir;
    MediaLadder m_ladder;
    std::atomic<int> m_refusals{0};
    test::FaultOrigin m_origin;
    json m_trace;
    json m_summary;
};

int count(const std::string& text, const std::string& part) {
    int result = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++result;
    return result;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The data that the page's scripts read.
json dataIn(const std::string& page) {
    const std::string begin = "<script type=\"application/json\">";
    const size_t at = page.find(begin) + begin.size();
    return json::parse(page.substr(at, page.find("</script>", at) - at));
}

/// What a screen reader would say about the marked moment or segment.
std::string said(const std::string& dom) {
    const std::string begin = "aria-live=\"polite\">";
    const size_t at = dom.find(begin) + begin.size();
    return dom.substr(at, dom.find('<', at) - at);
}

std::string number(const json& value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", value.get<double>());
    return "<td class=\"number\">" + std::string(text) + "</td>";
}

std::string integer(const json& value) {
    return "<td class=\"number\">" + value.dump() + "</td>";
}

std::string figure(const std::string& name, const std::string& value) {
    return "<dt>" + name + "</dt><dd>" + value + "</dd>";
}

/// A row of the page's table, from when the segment was there.
std::string rowEnd(const json& row) {
    const auto measured = [](const json& value) {
        return value == 0 ? "<td class=\"number\"></td>" : integer(value);
    };
    std::string note = row["switch"];
    if (row["skipped"] == true)
        note += note.empty() ? "skipped" : ", skipped";
    return number(row["time_s"]) + number(row["download_s"]) + number(row["first_byte_s"]) +
           integer(row["bitrate_bps"]) + "<td>" + row["resolution"].get<std::string>() + "</td>" +
           integer(row["bytes"]) + number(row["duration_s"]) + number(row["buffer_s"]) +
           measured(row["bandwidth_bps"]) + measured(row["mean_bps"]) + integer(row["redirects"]) +
           integer(row["retries"]) + "<td class=\"number\"></td><td>" + note + "</td></tr>";
}

} // namespace

TEST(Browser, HearsWhatAPageTellsItsConsole) {
    const test::TempDir dir;
    const std::string path = dir.write("p.html", "<script>nothing();</script>");
    EXPECT_TRUE(has(Browser().load("file://" + path).console, "nothing is not defined"));
}

TEST_F(HastoolReport, TellsHowEachAttemptOfASegmentWent) {
    play();
    const json data = dataIn(readFile(page()));
    const json& retried = data["segments"][1];
    ASSERT_EQ(retried["attempts"].size(), 2U) << retried;
    EXPECT_EQ(retried["attempts"][0]["result"], "HTTP 503");
    const json& last = retried["attempts"][1];
    EXPECT_EQ(last["result"], "HTTP 200");
    EXPECT_EQ(last["bytes"], retried["bytes"]);
    EXPECT_EQ(last["peer"].get<std::string>().rfind("127.0.0.1:", 0), 0U);
    EXPECT_TRUE(last["tls"].is_null()) << "plain http";
    EXPECT_GT(last["firstByte"], 0);
    EXPECT_GT(last["end"], last["firstByte"]);
    EXPECT_TRUE(has(retried["url"], "/v/")) << retried["url"];
    EXPECT_TRUE(has(data["segments"][2]["url"], "/all/")) << "where the redirect led";
    EXPECT_EQ(data["segments"][3]["attempts"].back()["result"], "HTTP 410");
}

TEST_F(HastoolReport, OpensATableOfAllTransfers) {
    play();
    const std::string dom = loadWith("document.querySelector('details.transfers').open = true;");
    EXPECT_FALSE(has(readFile(page()), "<td>HTTP 503</td>")) << "made when it is opened";
    EXPECT_TRUE(has(dom, "<td>HTTP 503</td>"));
    EXPECT_TRUE(has(dom, "<td>HTTP 410</td>"));
    EXPECT_TRUE(has(dom, "<th class=\"number\">first byte, ms</th>"));
    EXPECT_EQ(count(dom, "<td>HTTP 200</td>"), 7);
    EXPECT_TRUE(has(dom, "<td>Cache-Control: max-age=9</td>"));
}

TEST_F(HastoolReport, ShowsInABrowserWhatTheTraceTells) {
    play();
    const LoadedPage loaded = Browser().load("file://" + page());
    EXPECT_EQ(loaded.console, "");
    ASSERT_EQ(m_trace.size(), 8U);
    int switches = 0;
    for (const json& row : m_trace) {
        EXPECT_TRUE(has(loaded.dom, rowEnd(row))) << row;
        EXPECT_TRUE(has(loaded.dom, "class=\"bar\" data-index=\"" + row["index"].dump() +
                                        "\" data-track=\"main\""));
        EXPECT_TRUE(has(loaded.dom, "data-end=\"" + row["time_s"].dump() + "\"")) << row;
        switches += row["switch"] == "" ? 0 : 1;
    }
    EXPECT_EQ(count(loaded.dom, "class=\"bar\""), 8);
    EXPECT_EQ(count(loaded.dom, "class=\"switch\""), switches + 1) << "one in the legend";
    for (const char* const mark : {"retry", "redirect", "skipped"})
        EXPECT_EQ(count(loaded.dom, std::string("<path class=\"") + mark + "\""), 2) << mark;
    EXPECT_EQ(count(loaded.dom, "class=\"ladder\" x1"), 2);
}

TEST_F(HastoolReport, ShowsTheSummary) {
    play();
    const std::string text = readFile(page());
    EXPECT_TRUE(has(text, figure("Skipped", m_summary["skipped"].dump())));
    EXPECT_TRUE(has(text, figure("Downloads", m_summary["downloads"].dump() + ", 1 retry")));
    EXPECT_TRUE(has(text, figure("Switches", m_summary["switches_up"].dump() + " up, " +
                                                 m_summary["switches_down"].dump() + " down")));
    EXPECT_TRUE(has(text, "retry 1 of 20, HTTP ")) << "the event";
    EXPECT_TRUE(has(text, "/3.ts: ") && has(text, "; skipped</td></tr>")) << "the trouble";
}

TEST_F(HastoolReport, NamesTheValuesOfTheMomentInItsAddress) {
    play();
    const json samples = dataIn(readFile(page()))["samples"];
    const std::string dom = Browser().load("file://" + page() + "#play-1@0.6").dom;
    EXPECT_EQ(count(dom, "class=\"cross\""), 3) << "in every chart";
    const double shown = std::stod(said(dom));
    size_t nearest = 0;
    for (size_t i = 0; i < samples["time"].size(); ++i) {
        if (std::abs(samples["time"][i].get<double>() - 0.6) <
            std::abs(samples["time"][nearest].get<double>() - 0.6))
            nearest = i;
    }
    EXPECT_NEAR(shown, samples["time"][nearest].get<double>(), 0.006);
    EXPECT_TRUE(has(dom, "<div>window mean ")) << "a tip";
}

TEST_F(HastoolReport, GoesFromSegmentToSegmentByTheKeyboard) {
    play();
    const std::string press = "svg.dispatchEvent(new KeyboardEvent('keydown', {key: 'KEY'}));";
    const std::string end = std::string(press).replace(press.find("KEY'}"), 3, "End");
    const std::string up = std::string(press).replace(press.find("KEY'}"), 3, "ArrowUp");
    const std::string escape = std::string(press).replace(press.find("KEY'}"), 3, "Escape");
    EXPECT_EQ(said(loadWith(end)).substr(0, 10), "segment 7,");
    EXPECT_EQ(said(loadWith(end + up)).substr(0, 10), "segment 6,");
    const std::string dom = loadWith(end + escape);
    EXPECT_FALSE(has(dom, "class=\"cross\""));
}

TEST_F(HastoolReport, NamesTheSegmentUnderThePointer) {
    play();
    const std::string dom =
        loadWith("const box = svg.querySelectorAll('.bar')[2].getBoundingClientRect();"
                 "svg.dispatchEvent(new PointerEvent('pointermove',"
                 "    {clientX: box.left + 1, clientY: box.top + box.height / 2}));");
    EXPECT_EQ(said(dom).substr(0, 10), "segment 2,");
    EXPECT_TRUE(has(said(dom), ", redirects 1"));
    const std::string bytes = m_trace[2]["bytes"].dump();
    EXPECT_TRUE(has(said(dom), bytes.substr(0, 2))) << said(dom) << " of " << bytes;
    EXPECT_TRUE(has(dom, "class=\"pick\""));
}

TEST_F(HastoolReport, TellsHowLongPlayAndTransfersStoodStill) {
    m_origin.onPrefix("/slow/", [this](const Request& request) {
        Reply reply = Reply().file((m_ladder.folder() / "0" / request.path.substr(6)).string());
        if (request.path == "/slow/1.ts")
            reply.delayed(std::chrono::milliseconds(2600));
        return reply;
    });
    const test::Child::Result result =
        runHastool({"play", "--json", "--duration", "6", "--pause-at", "3:1", "--report", page(),
                    m_origin.url("/slow/index.m3u8")});
    ASSERT_EQ(result.status, 0) << result.err;
    const json summary = json::parse(result.out);
    const json data = dataIn(readFile(page()));
    ASSERT_EQ(data["stalls"].size(), 1U);
    EXPECT_EQ(summary["stalls"], 1);
    EXPECT_TRUE(has(readFile(page()), "<td>stall</td><td>no media at ")) << "the event";
    const auto length = [](const json& range) {
        return range[1].get<double>() - range[0].get<double>();
    };
    EXPECT_NEAR(length(data["stalls"][0]), summary["stall_s"].get<double>(), 0.2);
    ASSERT_EQ(data["pauses"].size(), 1U);
    EXPECT_NEAR(length(data["pauses"][0]), 1, 0.2);
    EXPECT_GE(data["holds"].size(), 1U) << "as long as the viewer pauses";
}

TEST_F(HastoolReport, IsPrinted) {
    play();
    const std::string pdf = m_dir.file("r.pdf");
    Browser().print("file://" + page(), pdf);
    EXPECT_EQ(readFile(pdf).substr(0, 5), "%PDF-");
}

TEST_F(HastoolReport, TellsOfAPlayThatFailed) {
    m_origin.on("/nothing.m3u8", Reply().status(410));
    const test::Child::Result result =
        runHastool({"play", "--report", page(), m_origin.url("/nothing.m3u8")});
    EXPECT_EQ(result.status, 1);
    const LoadedPage loaded = Browser().load("file://" + page());
    EXPECT_EQ(loaded.console, "");
    EXPECT_TRUE(has(loaded.dom, "It ended early: " + m_origin.url("/nothing.m3u8")));
    EXPECT_TRUE(has(loaded.dom, "No segment was downloaded."));
}

TEST_F(HastoolReport, IsKnownNotToBeWritableBeforeThePlay) {
    const std::string path = m_dir.file("none/r.html");
    const test::Child::Result result =
        runHastool({"play", "--report", path, m_origin.url("/v/master.m3u8")});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(has(result.err, path)) << result.err;
    EXPECT_EQ(m_origin.requests().size(), 0U);
}
