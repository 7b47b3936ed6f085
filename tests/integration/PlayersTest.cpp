// The origin and the built-in presentations, judged by other people's players in a browser.
#include "Browser.h"
#include "Hastool.h"
#include <support/FaultOrigin.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;

namespace {

constexpr auto kPatience = std::chrono::seconds(110);

/// Serves the players' pages, and takes what they post.
class Pages {
public:
    Pages() {
        m_server.serve("/", std::string(PLAYERS) + "/");
        m_server.on("/result", [this](const test::Request& request) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            const json result = json::parse(request.body);
            m_results[result["url"]] = result;
            m_changed.notify_all();
            return test::Reply();
        });
    }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    std::string url(const std::string& page) const { return m_server.url(page); }
    /// Waits for so many results, up to a time-out. @return those that were posted
    std::map<std::string, json> results(size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, kPatience, [&] { return m_results.size() >= count; });
        return m_results;
    }

private:
    std::mutex m_mutex; // guards the results
    std::condition_variable m_changed;
    std::map<std::string, json> m_results;
    test::FaultOrigin m_server;
};

/// `hastool serve` with the built-in presentations.
class Serving {
public:
    Serving()
        : m_child(test::hastoolCommand({"serve"}), test::hastoolEnvironment()) {
        const auto begin = std::chrono::steady_clock::now();
        while (m_child.err().find(" until interrupted\n") == std::string::npos) {
            if (!m_child.isRunning() || std::chrono::steady_clock::now() - begin > kPatience)
                throw std::runtime_error("hastool serve: " + m_child.err());
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        const std::string line = m_child.err();
        const size_t at = line.find("http://");
        m_url = line.substr(at, line.find("/ until") - at);
    }

    std::string url(const std::string& path) const { return m_url + path; }

private:
    Child m_child;
    std::string m_url;
};

/// Plays all of them side by side, ten seconds each.
void expectPlayed(const std::string& page, const std::vector<std::string>& manifests) {
    Pages pages;
    const Serving serving;
    std::string query;
    for (const std::string& manifest : manifests)
        query += (query.empty() ? "?url=" : "&url=") + serving.url(manifest);
    const test::TempDir home;
    // With a debugging port the browser keeps running; without, it ends when the page is loaded.
    std::vector<std::string> command = test::browserCommand(home.file("profile"));
    command.insert(command.end(),
                   {"--remote-debugging-port=0", "--mute-audio",
                    "--autoplay-policy=no-user-gesture-required", pages.url(page) + query});
    const Child browser(command, {"HOME=" + home.path().string()});
    auto results = pages.results(manifests.size());
    for (const std::string& manifest : manifests) {
        const json& result = results[serving.url(manifest)];
        ASSERT_TRUE(result.is_object()) << manifest << "\n" << browser.err();
        SCOPED_TRACE(manifest + " " + result.dump() + "\n" + browser.err());
        EXPECT_EQ(result["error"], "");
        EXPECT_GE(result["time"], 10);
        EXPECT_GT(result["width"], 0);
        EXPECT_GE(result["frames"], 50) << "of 250; a busy machine may drop many";
        EXPECT_GT(result["audioBytes"], 0);
    }
}

} // namespace

TEST(Players, HlsJsPlaysHls) {
    expectPlayed("/hls.html", {"/hls/master.m3u8", "/hls-aes/master.m3u8"});
}

TEST(Players, DashJsPlaysDashAndSmoothStreaming) {
    expectPlayed("/dash.html", {"/dash/manifest.mpd", "/smooth/Manifest"});
}

/// It has no Smooth Streaming any more.
TEST(Players, ShakaPlayerPlaysHlsAndDash) {
    expectPlayed("/shaka.html", {"/hls/master.m3u8", "/hls-aes/master.m3u8", "/dash/manifest.mpd"});
}
