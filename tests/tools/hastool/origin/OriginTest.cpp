#include <tools/hastool/ErrorOf.h>

#include <hastool/net/Downloader.h>
#include <hastool/origin/Origin.h>
#include <support/Fetch.h>
#include <support/Pattern.h>
#include <support/TempDir.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

using hastool::Downloader;
using hastool::EngineOptions;
using hastool::Fault;
using hastool::MemorySink;
using hastool::Origin;
using hastool::OriginOptions;
using hastool::Outcome;
using hastool::RateProfile;
using test::errorOf;
using test::Fetched;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using Clock = std::chrono::steady_clock;

std::string media(size_t size) {
    return test::pattern(size).all();
}

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

class OriginTest : public ::testing::Test {
protected:
    Origin& serve(const std::vector<std::string>& faults = {}, const char* profile = nullptr) {
        OriginOptions options;
        options.root = m_dir.path();
        options.faults = faults;
        options.onFault = [this](const std::string& path, const Fault&) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_faulty.push_back(path);
        };
        if (profile != nullptr)
            options.profile = RateProfile::parse(profile, "p");
        m_origin = std::make_unique<Origin>(options);
        return *m_origin;
    }
    Fetched get(const std::string& path, const std::string& range = "") const {
        return test::fetch(m_origin->url(path), [&](CURL* curl) {
            if (!range.empty())
                curl_easy_setopt(curl, CURLOPT_RANGE, range.c_str());
        });
    }
    /// Sends a request with one more header line.
    Fetched ask(const std::string& path, const std::string& line,
                const std::string& range = "") const {
        curl_slist* const lines = curl_slist_append(nullptr, line.c_str());
        Fetched fetched = test::fetch(m_origin->url(path), [&](CURL* curl) {
            curl_easy_setopt(curl, CURLOPT_HTTPHEADER, lines);
            if (!range.empty())
                curl_easy_setopt(curl, CURLOPT_RANGE, range.c_str());
        });
        curl_slist_free_all(lines);
        return fetched;
    }
    static std::string headerOf(const Fetched& fetched, const std::string& name) {
        const size_t at = fetched.head.find("\n" + name + ": ");
        if (at == std::string::npos)
            return "";
        const size_t begin = at + 1 + name.size() + 2;
        return fetched.head.substr(begin, fetched.head.find('\r', begin) - begin);
    }
    /// The paths of the requests that met a fault.
    std::vector<std::string> faultyPaths() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_faulty;
    }
    /// Downloads a path through the tool's own engine, with its retries.
    Outcome download(const std::string& path, std::string& bytes) const {
        EngineOptions options;
        options.retriesBrokenConnections = true;
        Downloader downloader(options);
        MemorySink sink(1u << 24);
        Outcome outcome =
            hastool::download(downloader, {m_origin->url(path), std::nullopt}, sink, true, [] {});
        bytes = sink.bytes();
        return outcome;
    }

    test::TempDir m_dir;
    std::mutex m_mutex; // guards the paths
    std::vector<std::string> m_faulty;
    std::unique_ptr<Origin> m_origin;
};

} // namespace

TEST_F(OriginTest, ServesFilesOfItsFolder) {
    m_dir.write("d/a.ts", media(300000));
    serve();
    const Fetched fetched = get("/d/a.ts");
    EXPECT_EQ(fetched.status, 200);
    EXPECT_TRUE(fetched.body == media(300000));
    EXPECT_THAT(fetched.head, HasSubstr("Content-Type: video/mp2t\r\n"));
    EXPECT_THAT(fetched.head, HasSubstr("Content-Length: 300000\r\n"));
    EXPECT_THAT(fetched.head, HasSubstr("Accept-Ranges: bytes\r\n"));
}

TEST_F(OriginTest, ServesPathsWithOddLetters) {
    m_dir.write("QualityLevels(300000)/Fragments(video=0)", "smooth");
    m_dir.write("\xC3\xA4 b%.ts", "odd");
    serve();
    EXPECT_EQ(get("/QualityLevels(300000)/Fragments(video=0)").body, "smooth");
    EXPECT_EQ(get("/\xC3\xA4 b%.ts").body, "odd");
}

TEST_F(OriginTest, ServesSingleRanges) {
    m_dir.write("a", "0123456789");
    serve();
    const Fetched fetched = get("/a", "2-4");
    EXPECT_EQ(fetched.status, 206);
    EXPECT_EQ(fetched.body, "234");
    EXPECT_THAT(fetched.head, HasSubstr("Content-Range: bytes 2-4/10\r\n"));
    EXPECT_EQ(get("/a", "7-").body, "789");
    EXPECT_EQ(get("/a", "-2").body, "89");
    EXPECT_EQ(get("/a", "1-2,4-5").status, 200);
    const Fetched beyond = get("/a", "10-");
    EXPECT_EQ(beyond.status, 416);
    EXPECT_THAT(beyond.head, HasSubstr("Content-Range: bytes */10\r\n"));
}

TEST_F(OriginTest, AnswersConditionalRequests) {
    m_dir.write("a", "0123456789");
    serve();
    const Fetched first = get("/a");
    const std::string etag = headerOf(first, "ETag");
    const std::string date = headerOf(first, "Last-Modified");
    EXPECT_EQ(date.substr(date.size() - 4), " GMT");
    for (const std::string& condition : {"If-None-Match: " + etag, "If-Modified-Since: " + date}) {
        const Fetched same = ask("/a", condition);
        EXPECT_EQ(same.status, 304) << condition;
        EXPECT_EQ(same.body, "");
        EXPECT_EQ(headerOf(same, "ETag"), etag);
        EXPECT_EQ(headerOf(same, "Last-Modified"), date);
    }
    EXPECT_EQ(ask("/a", "If-None-Match: \"x\"").body, "0123456789");
    EXPECT_EQ(ask("/a", "If-Match: \"x\"").status, 412);
    EXPECT_EQ(ask("/a", "If-Range: " + etag, "2-4").body, "234");
    const Fetched changed = ask("/a", "If-Range: \"x\"", "2-4");
    EXPECT_EQ(changed.status, 200);
    EXPECT_EQ(changed.body, "0123456789");
}

TEST_F(OriginTest, ListsFolders) {
    m_dir.write("d/e/f.ts", "x");
    serve();
    EXPECT_THAT(get("/").body, HasSubstr("<a href=\"./d/\">d/</a>"));
    EXPECT_THAT(get("/d/e/").body, HasSubstr("<a href=\"./f.ts\">f.ts</a>"));
    EXPECT_THAT(get("/d/e/").head, HasSubstr("Content-Type: text/html; charset=utf-8\r\n"));
    const Fetched moved = get("/d");
    EXPECT_EQ(moved.status, 301);
    EXPECT_THAT(moved.head, HasSubstr("Location: /d/\r\n"));
    EXPECT_EQ(get("/d/..%2f").status, 404);
    EXPECT_EQ(get("/none/").status, 404);
}

TEST_F(OriginTest, LetsPagesOfOtherOriginsRead) {
    m_dir.write("a", "x");
    serve();
    EXPECT_THAT(get("/a").head, HasSubstr("Access-Control-Allow-Origin: *\r\n"));
    const Fetched asked = test::fetch(m_origin->url("/a"), [](CURL* curl) {
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, "OPTIONS");
    });
    EXPECT_EQ(asked.status, 204);
    EXPECT_THAT(asked.head, HasSubstr("Access-Control-Allow-Headers: *\r\n"));
}

TEST_F(OriginTest, AnswersHeadWithoutABody) {
    m_dir.write("a", "0123456789");
    serve();
    const Fetched fetched = test::fetch(
        m_origin->url("/a"), [](CURL* curl) { curl_easy_setopt(curl, CURLOPT_NOBODY, 1L); });
    EXPECT_EQ(fetched.status, 200);
    EXPECT_THAT(fetched.head, HasSubstr("Content-Length: 10\r\n"));
    EXPECT_EQ(fetched.body, "");
}

TEST_F(OriginTest, ServesAnEmptyFile) {
    m_dir.write("a.ts", "");
    serve();
    EXPECT_EQ(get("/a.ts").status, 200);
    EXPECT_EQ(get("/a.ts").body, "");
}

TEST_F(OriginTest, HasNothingOutsideOfItsFolder) {
    m_dir.write("a", "1");
    serve();
    EXPECT_EQ(get("/b").status, 404);
    EXPECT_EQ(get("/a/").status, 404);
    const Fetched outside =
        test::fetch("http://127.0.0.1:" + std::to_string(m_origin->port()) + "/..%2f..%2fetc/hosts",
                    [](CURL* curl) { curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L); });
    EXPECT_EQ(outside.status, 404);
}

TEST_F(OriginTest, OtherMethodsGetNothing) {
    m_dir.write("a", "1");
    serve();
    const Fetched posted = test::fetch(
        m_origin->url("/a"), [](CURL* curl) { curl_easy_setopt(curl, CURLOPT_POSTFIELDS, "x"); });
    EXPECT_EQ(posted.status, 404);
}

TEST_F(OriginTest, KeepsConnections) {
    m_dir.write("a", "1");
    serve();
    CURL* const curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, m_origin->url("/a").c_str());
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char*, size_t, size_t count, void*) { return count; });
    long connects = 0;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(curl_easy_perform(curl), CURLE_OK);
        long more = 0;
        curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &more);
        connects += more;
    }
    curl_easy_cleanup(curl);
    EXPECT_EQ(connects, 1);
}

TEST_F(OriginTest, TakesConnectionsWhileOthersEnd) {
    m_dir.write("a", "1");
    serve();
    std::vector<std::thread> threads;
    std::atomic<int> answers{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 250; ++n)
                answers += get("/a").body == "1" ? 1 : 0; // over a connection of its own
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(answers, 1000);
}

TEST_F(OriginTest, ListsItsPresentations) {
    m_dir.write("x y/m.mpd", "<MPD/>");
    serve();
    EXPECT_THAT(
        m_origin->presentations(),
        ElementsAre("http://127.0.0.1:" + std::to_string(m_origin->port()) + "/x%20y/m.mpd"));
}

TEST_F(OriginTest, ListensOnAChosenPortThatNobodyElseHas) {
    serve();
    OriginOptions options;
    options.root = m_dir.path();
    options.port = m_origin->port();
    EXPECT_EQ(errorOf([&] { Origin other(options); }),
              "127.0.0.1:" + std::to_string(options.port) + ": cannot be listened on");
    m_origin->stop();
    EXPECT_EQ(Origin(options).port(), options.port);
}

TEST_F(OriginTest, RefusesWhatItCannotServe) {
    OriginOptions options;
    options.root = m_dir.file("none");
    EXPECT_EQ(errorOf([&] { Origin origin(options); }),
              m_dir.file("none") + ": No such file or directory");
    options.root = m_dir.path();
    options.faults = {"x"};
    EXPECT_EQ(errorOf([&] { Origin origin(options); }), "--fault: not WHICH:WHAT: \"x\"");
}

TEST_F(OriginTest, AnswersWithAStatusOnRequest) {
    m_dir.write("1.ts", "one");
    m_dir.write("2.ts", "two");
    serve({"seg=2:404*2"});
    EXPECT_EQ(get("/1.ts").status, 200);
    EXPECT_EQ(get("/2.ts").status, 404);
    EXPECT_EQ(get("/2.ts").status, 404);
    EXPECT_EQ(get("/2.ts").body, "two");
    EXPECT_THAT(faultyPaths(), ElementsAre("/2.ts", "/2.ts"));
}

TEST_F(OriginTest, BreaksConnectionsOnRequest) {
    m_dir.write("1.ts", media(100000));
    serve({"seg=1:reset*1"});
    const Fetched broken = get("/1.ts");
    EXPECT_EQ(broken.code, CURLE_RECV_ERROR);
    EXPECT_LE(broken.body.size(), 50000U);
    EXPECT_TRUE(get("/1.ts").body == media(100000));
}

TEST_F(OriginTest, CutsAnswersOnRequest) {
    m_dir.write("1.ts", media(5000));
    serve({"seg=1:truncate=1000*1"});
    const Fetched cut = get("/1.ts");
    EXPECT_EQ(cut.code, CURLE_PARTIAL_FILE);
    EXPECT_EQ(cut.body, media(1000));
    EXPECT_EQ(get("/1.ts").body, media(5000));
}

TEST_F(OriginTest, StallsOnRequest) {
    m_dir.write("1.ts", media(5000));
    serve({"path=1.ts:stall=0.1*1"});
    const auto begin = Clock::now();
    EXPECT_EQ(get("/1.ts").body, media(5000));
    EXPECT_GE(secondsSince(begin), 0.099);
}

TEST_F(OriginTest, TheEngineGetsOverEveryFault) {
    m_dir.write("1.ts", media(100000));
    for (const char* const fault :
         {"seg=1:404*1", "seg=1:reset*1", "seg=1:truncate=1000*1", "seg=1:stall=0.05"}) {
        SCOPED_TRACE(fault);
        serve({fault});
        std::string bytes;
        const Outcome outcome = download("/1.ts", bytes);
        EXPECT_TRUE(outcome.ok) << outcome.failure;
        EXPECT_TRUE(bytes == media(100000));
    }
}

TEST_F(OriginTest, AllConnectionsShareTheRate) {
    m_dir.write("1.ts", media(10000));
    serve({}, "0,800"); // 100,000 bytes per second
    const auto begin = Clock::now();
    std::vector<std::thread> threads;
    std::atomic<int> whole{0};
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] { whole += get("/1.ts").body.size() == 10000 ? 1 : 0; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(whole, 3);
    EXPECT_GE(secondsSince(begin), 0.299);
    EXPECT_LT(secondsSince(begin), 3);
}

TEST_F(OriginTest, TheFirstByteWaitsForTheLatency) {
    m_dir.write("1.ts", "1");
    serve({}, R"([{"duration_ms":1000,"bandwidth_kbps":8000,"latency_ms":60}])");
    const auto begin = Clock::now();
    EXPECT_EQ(get("/1.ts").body, "1");
    EXPECT_GE(secondsSince(begin), 0.059);
}

TEST_F(OriginTest, StopEndsWhateverIsBeingSent) {
    m_dir.write("1.ts", media(1000000));
    m_dir.write("2.ts", media(1000000));
    serve({"seg=2:stall=10000"}, "0,80\n1000,0\n2000,\n");
    std::vector<std::thread> threads;
    std::atomic<int> begun{0};
    for (const char* const path : {"/1.ts", "/2.ts", "/1.ts"})
        threads.emplace_back([&, path] {
            test::fetch(m_origin->url(path), [&](CURL* curl) {
                curl_easy_setopt(curl, CURLOPT_HEADERDATA, &begun);
                curl_easy_setopt(
                    curl, CURLOPT_HEADERFUNCTION, +[](char*, size_t, size_t count, void* counter) {
                        *static_cast<std::atomic<int>*>(counter) += 1;
                        return count;
                    });
            });
        });
    while (begun < 3)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto begin = Clock::now();
    m_origin->stop();
    EXPECT_LT(secondsSince(begin), 5);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_NE(get("/1.ts").code, CURLE_OK);
}

TEST_F(OriginTest, MayBeStoppedTwiceAndWithoutAnyRequest) {
    for (int i = 0; i < 20; ++i)
        serve();
    m_origin->stop();
    m_origin->stop();
}
