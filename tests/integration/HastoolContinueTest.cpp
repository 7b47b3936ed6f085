// hastool get -c: files that are there in part.
#include "Hastool.h"

#include <support/EngineOwner.h>
#include <support/FaultOrigin.h>
#include <support/Nginx.h>

#include <csignal>

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace std::chrono_literals;
using nlohmann::json;
using test::Child;
using test::lines;
using test::pattern;
using test::readFile;
using test::Reply;
using test::Request;
using test::runHastool;
using test::Stage;

namespace {

constexpr uint64_t kSize = 100000;
constexpr uint64_t kThere = 40000;
constexpr char kTag[] = "\"v1\"";
constexpr char kDate[] = "Sun, 06 Nov 1994 08:49:37 GMT";

std::string bytes(uint64_t from = 0, uint64_t to = kSize) {
    return pattern(kSize).part(from, to - from);
}

/// An answer to the request for what is missing.
Reply partial(uint64_t first, uint64_t last, const std::string& total, const std::string& body) {
    return Reply()
        .status(206)
        .header("Content-Range",
                "bytes " + std::to_string(first) + "-" + std::to_string(last) + "/" + total)
        .body(body)
        .withoutRanges();
}

Reply whole() {
    return Reply().header("ETag", kTag).body(bytes());
}

class HastoolContinue : public testing::Test {
protected:
    HastoolContinue() { m_url = m_origin.url("/a"); }

    std::string file(const std::string& name = "a") const { return m_dir.file(name); }
    bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }

    /// The file as an earlier run has left it.
    void leave(const std::string& part, const std::string& etag, const std::string& date = "",
               uint64_t total = kSize) {
        m_dir.write("a.part", part);
        m_dir.write(
            "a.part.json",
            json{{"url", m_url}, {"etag", etag}, {"lastModified", date}, {"total", total}}.dump());
    }
    Child::Result get() {
        return runHastool({"get", "-c", "--json", "--retries", "2", m_url, "-o", file()});
    }
    /// Expects the whole file and nothing beside it.
    void expectWhole(const Child::Result& result) {
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(readFile(file()) == bytes());
        EXPECT_FALSE(exists("a.part") || exists("a.part.json"));
    }
    /// Expects that an answer is not believed and the file is fetched anew.
    void expectAnewAfter(const Reply& answer) {
        leave(bytes(0, kThere), kTag);
        m_origin.on("/a", {answer, whole()});
        const size_t before = m_origin.requests("/a").size();
        expectWhole(get());
        const std::vector<Request> requests = m_origin.requests("/a");
        ASSERT_EQ(requests.size(), before + 2);
        EXPECT_EQ(requests[before].header("Range"), "bytes=40000-");
        EXPECT_EQ(requests[before + 1].header("Range"), "");
        EXPECT_EQ(requests[before + 1].header("If-Range"), "");
        std::filesystem::remove(file());
    }

    test::TempDir m_dir;
    test::FaultOrigin m_origin;
    std::string m_url;
};

} // namespace

TEST_F(HastoolContinue, GoesOnWhereItWasInterrupted) {
    m_origin.on("/a", {Reply(whole()).stalledAt(Stage::InBody, kThere), whole()});
    Child child(test::hastoolCommand({"get", "-c", m_url, "-o", file()}),
                test::hastoolEnvironment());
    ASSERT_TRUE(test::eventually([&] {
        std::error_code error;
        return std::filesystem::file_size(file("a.part"), error) == kThere && !error;
    }));
    child.signal(SIGINT);
    EXPECT_EQ(child.wait(20s).status, 1);
    EXPECT_TRUE(readFile(file("a.part")) == bytes(0, kThere));
    struct stat note {};
    ASSERT_EQ(stat(file("a.part.json").c_str(), &note), 0);
    EXPECT_EQ(note.st_mode & 077, 0U) << "the URL may have a password";

    const Child::Result result = get();
    expectWhole(result);
    const Request request = m_origin.requests("/a").back();
    EXPECT_EQ(request.header("Range"), "bytes=40000-");
    EXPECT_EQ(request.header("If-Range"), kTag);
    EXPECT_EQ(request.header("Accept-Encoding"), "identity");
    EXPECT_EQ(json::parse(result.out)[0]["bytes"], kSize);
    EXPECT_EQ(json::parse(result.out)[0]["kept_bytes"], kThere);
}

TEST_F(HastoolContinue, GoesOnAfterAKillWithNginx) {
    const test::Nginx server;
    server.write("a", bytes());
    m_url = server.url("/a");
    ASSERT_EQ(get().status, 0);
    leave(bytes(0, kThere), "\"another\"");
    expectWhole(get()); // another version: anew
    const Child::Result head = runHastool({"get", "-v", m_url, "-o", file("b")});
    const size_t tag = head.err.find("< ETag: ");
    ASSERT_NE(tag, std::string::npos) << head.err;
    const std::string etag = head.err.substr(tag + 8, head.err.find('\n', tag) - tag - 8);
    leave(bytes(0, kThere), etag);
    const Child::Result rest = get();
    expectWhole(rest);
    EXPECT_EQ(json::parse(rest.out)[0]["status"], 206);
    leave(bytes(), etag); // all there, and only its name missing
    const Child::Result all = get();
    expectWhole(all);
    EXPECT_EQ(json::parse(all.out)[0]["status"], 416);
}

TEST_F(HastoolContinue, GoesOnByDateWhereThereIsNoTag) {
    leave(bytes(0, kThere), "", kDate);
    m_origin.on("/a", partial(kThere, kSize - 1, "100000", bytes(kThere)));
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").back().header("If-Range"), kDate);
}

TEST_F(HastoolContinue, RetriesOnlyWhatIsMissing) {
    m_origin.on("/a", {Reply(whole()).closedAt(Stage::InBody, kThere), whole()});
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").at(1).header("Range"), "bytes=40000-");
    EXPECT_EQ(m_origin.requests("/a").at(1).header("If-Range"), kTag);
}

TEST_F(HastoolContinue, AsksForTheRestOfAnAnswerThatIsShorterThanAsked) {
    leave(bytes(0, kThere), kTag);
    m_origin.on("/a", {partial(kThere, 69999, "100000", bytes(kThere, 70000)),
                       partial(70000, kSize - 1, "100000", bytes(70000))});
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").at(1).header("Range"), "bytes=70000-");
}

TEST_F(HastoolContinue, AsksAgainForTheRestWhereAnAnswerHasNone) {
    leave(bytes(0, kThere), kTag);
    m_origin.on("/a", {partial(kThere, kSize - 1, "100000", ""), whole()});
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").at(1).header("Range"), "bytes=40000-");
}

TEST_F(HastoolContinue, BeginsAnewWhereNothingIsKnown) {
    m_dir.write("a.part", bytes(0, kThere));
    m_origin.on("/a", whole());
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").back().header("Range"), "");
    // A tag that may name several versions, or a date beside one, is nothing to go by.
    m_origin.on("/a", Reply(whole()).header("ETag", "W/\"v1\"").closedAt(Stage::InBody, kThere));
    EXPECT_EQ(get().status, 1);
    EXPECT_FALSE(exists("a.part") || exists("a.part.json"));
    EXPECT_TRUE(readFile(file()) == bytes()) << "the old file stays";
}

TEST_F(HastoolContinue, BeginsAnewForAnotherUrlAndABrokenNote) {
    leave(bytes(0, kThere), kTag);
    m_url = m_origin.url("/b");
    m_origin.on("/b", whole());
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/b").back().header("Range"), "");
    for (const char* note : {"", "[]", "{\"url\":1}", "{\"url\"", "null"}) {
        m_dir.write("a.part", bytes(0, kThere));
        m_dir.write("a.part.json", note);
        expectWhole(get());
        EXPECT_EQ(m_origin.requests("/b").back().header("Range"), "") << note;
    }
}

TEST_F(HastoolContinue, TakesTheWholeWhereTheServerSendsIt) {
    leave(std::string(kThere, 'x'), kTag);
    m_origin.on("/a", Reply(whole()).withoutRanges());
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").size(), 1U);
}

TEST_F(HastoolContinue, DoesNotBelieveAnAnswerThatDoesNotFit) {
    const std::string rest = bytes(kThere);
    const uint64_t last = kSize - 1;
    expectAnewAfter(partial(0, last, "100000", bytes()));               // from elsewhere
    expectAnewAfter(partial(kThere + 1, last, "100000", bytes(40001))); // a byte is missing
    expectAnewAfter(partial(kThere, last, "100001", rest));             // of another whole
    expectAnewAfter(partial(kThere, kSize, "*", rest + "x"));           // beyond the whole
    expectAnewAfter(partial(kThere, last, "90000", rest));              // contradicts itself
    expectAnewAfter(partial(kThere, last, "100000", rest).header("ETag", "\"v2\""));
    expectAnewAfter(Reply().status(206).body(rest).withoutRanges()); // says nothing
    expectAnewAfter(Reply().status(204));
    expectAnewAfter(Reply().status(416));
    expectAnewAfter(Reply().status(416).header("Content-Range", "bytes */100000"));
    expectAnewAfter(Reply().status(416).header("Content-Range", "bytes */nonsense"));
}

TEST_F(HastoolContinue, DoesNotBelieveThatAFileOfAnotherVersionIsComplete) {
    leave(std::string(kSize, 'x'), kTag);
    m_origin.on(
        "/a",
        {Reply().status(416).header("Content-Range", "bytes */100000").header("ETag", "\"v2\""),
         whole()});
    expectWhole(get());
}

TEST_F(HastoolContinue, DropsWhatIsLongerThanTheWhole) {
    leave(bytes() + "more", kTag);
    m_origin.on("/a", whole());
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").back().header("Range"), "");
}

TEST_F(HastoolContinue, GivesUpOnAServerThatNeverFits) {
    m_dir.write("a", "old");
    leave(bytes(0, kThere), kTag);
    m_origin.on("/a", partial(7, kSize - 1, "100000", bytes(7)));
    const Child::Result result = get();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "hastool: " + m_url + ": the server's answers do not fit the request (code -20)\n");
    EXPECT_EQ(m_origin.requests("/a").size(), 2U);
    EXPECT_EQ(readFile(file()), "old");
    EXPECT_FALSE(exists("a.part") || exists("a.part.json"));
}

TEST_F(HastoolContinue, KeepsWhatIsThereWhenTheServerFails) {
    leave(bytes(0, kThere), kTag);
    m_origin.on("/a", Reply().status(401));
    EXPECT_EQ(get().status, 1);
    EXPECT_TRUE(readFile(file("a.part")) == bytes(0, kThere));
    m_origin.on("/a", whole());
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").back().header("Range"), "bytes=40000-");
}

TEST_F(HastoolContinue, DoesNotGoOnBehindARunWithoutIt) {
    leave(bytes(0, kThere), kTag);
    m_origin.on("/a", Reply().body("other").stalledAt(Stage::InBody, 2));
    Child child(test::hastoolCommand({"get", m_url, "-o", file()}), test::hastoolEnvironment());
    ASSERT_TRUE(test::eventually([&] { return readFile(file("a.part")) == "ot"; }));
    child.signal(SIGKILL);
    child.wait(20s);
    EXPECT_FALSE(exists("a.part.json"));
    m_origin.on("/a", whole());
    expectWhole(get());
    EXPECT_EQ(m_origin.requests("/a").back().header("Range"), "");
}

TEST_F(HastoolContinue, TwoRunsDoNotWriteOneFile) {
    m_origin.on("/a", Reply(whole()).stalledAt(Stage::InBody, kThere));
    Child child(test::hastoolCommand({"get", "-c", m_url, "-o", file()}),
                test::hastoolEnvironment());
    ASSERT_TRUE(m_origin.waitForRequests("/a", 1));
    const Child::Result second = get();
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err, "hastool: " + file() + ": is being written by another download\n");
    child.signal(SIGINT);
    child.wait(20s);
}

TEST_F(HastoolContinue, RefusesWhatIsNoFile) {
    m_origin.on("/a", whole());
    const Child::Result device = runHastool({"get", "-c", m_url, "-o", "/dev/null"});
    EXPECT_EQ(device.status, 1);
    EXPECT_EQ(device.err, "hastool: /dev/null: is no file that could be there in part\n");
    const Child::Result output = runHastool({"get", "-c", m_url, "-o", "-"});
    EXPECT_EQ(output.status, 2);
    EXPECT_EQ(lines(output.err), 1) << output.err;
    EXPECT_EQ(runHastool({"get", "-c", "--range", "1-2", m_url, "-o", file()}).status, 2);
}
