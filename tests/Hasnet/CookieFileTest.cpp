#include <support/CookieFolder.h>
#include <support/CookieJar.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using hascommon::CHttpCookie;
using test::CookieFolder;
using test::OwnList;
using test::text;

constexpr long long kFuture = 2000000000;

/// The lines behind the header of four lines.
std::string cookieLines(const std::string& path) {
    std::istringstream stream(CookieFolder::read(path));
    std::string line;
    for (int i = 0; i < 4; ++i)
        std::getline(stream, line);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(CookieFileLine, HttpOnlySessionCookieOfADomainWithADot) {
    OwnList list;
    ASSERT_TRUE(list.addLine("#HttpOnly_.h.com\ttrue\t/\tfalse\t0\tn\tv"));
    EXPECT_TRUE(list.head->httponly);
    EXPECT_EQ(text(list.head->domain), "h.com");
    EXPECT_TRUE(list.head->tailmatch);
    EXPECT_EQ(text(list.head->path), "/");
    EXPECT_EQ(text(list.head->spath), "/");
    EXPECT_FALSE(list.head->secure);
    EXPECT_EQ(list.head->expires, 0);
    EXPECT_EQ(text(list.head->name), "n");
    EXPECT_EQ(text(list.head->value), "v");
    EXPECT_FALSE(list.head->livecookie);
}

TEST(CookieFileLine, FlagsAreReadInEitherCase) {
    OwnList list;
    list.addLine("h.com\tTRUE\t/p/\tTrue\t2000000000\tn\tv\n");
    EXPECT_TRUE(list.head->tailmatch);
    EXPECT_TRUE(list.head->secure);
    EXPECT_EQ(list.head->expires, kFuture);
    EXPECT_EQ(text(list.head->path), "/p/");
    EXPECT_EQ(text(list.head->spath), "/p");
    EXPECT_FALSE(list.head->httponly);
}

TEST(CookieFileLine, OldFormWithoutAPath) {
    OwnList list;
    ASSERT_TRUE(list.addLine("h.com\tfalse\tfalse\t0\tn\tv"));
    EXPECT_EQ(text(list.head->path), "/");
    EXPECT_FALSE(list.head->secure);
    EXPECT_EQ(text(list.head->value), "v");
    ASSERT_TRUE(list.addLine("h.com\tfalse\ttrue\t0\tm\tv"));
    EXPECT_TRUE(list.head->next->secure);
    EXPECT_EQ(text(list.head->next->spath), "/");
}

TEST(CookieFileLine, OldFormIsKnownByLowerCaseOnly) {
    OwnList list;
    ASSERT_TRUE(list.addLine("h.com\tfalse\tFALSE\t0\t5\tn\tv"));
    EXPECT_EQ(text(list.head->path), "FALSE");
    EXPECT_EQ(text(list.head->spath), "/");
}

TEST(CookieFileLine, SixFieldsGetAnEmptyValue) {
    OwnList list;
    ASSERT_TRUE(list.addLine("h.com\tfalse\t/\tfalse\t0\tn"));
    EXPECT_EQ(text(list.head->value), "");
    ASSERT_TRUE(list.addLine("h.com\tfalse\tfalse\t0\tm"));
    EXPECT_EQ(text(list.head->next->value), "");
}

TEST(CookieFileLine, FewerFieldsAreDiscarded) {
    OwnList list;
    for (const char* line : {"", "\t\t\t\t\t\t\t", "h.com", "h.com\tfalse\t/\tfalse\t0",
                             "h.com\tfalse\tfalse\t0", "#comment", "# h\tf\t/\tf\t0\tn\tv",
                             "#HttpOnly_#h\tfalse\t/\tfalse\t0\tn\tv", "\r\nh\tf\t/\tf\t0\tn\tv"})
        EXPECT_FALSE(list.addLine(line)) << line;
    EXPECT_EQ(list.head, nullptr);
}

TEST(CookieFileLine, EmptyFieldsAreSkippedAndFurtherOnesIgnored) {
    OwnList list;
    ASSERT_TRUE(list.addLine("h.com\t\tfalse\t\t\t/\tfalse\t0\tn\tv\tmore\tmore"));
    EXPECT_EQ(text(list.head->name), "n");
    EXPECT_EQ(text(list.head->value), "v");
}

TEST(CookieFileLine, IsCutAtALineEnd) {
    OwnList list;
    list.addLine("h.com\tfalse\t/\tfalse\t0\tn\tv\rx");
    list.addLine("h.com\tfalse\t/\tfalse\t0\tm\tw\nx");
    EXPECT_EQ(list.match("h.com", "/", false), "m=w;n=v;");
}

TEST(CookieFileLine, ExpiryIsASignedNumberThatSaturates) {
    OwnList list;
    list.addLine("h.com\tfalse\t/\tfalse\t-5\ta\t");
    EXPECT_EQ(list.head->expires, -5);
    list.addLine("h.com\tfalse\t/\tfalse\tsoon\ta\t");
    EXPECT_EQ(list.head->expires, 0);
    list.addLine("h.com\tfalse\t/\tfalse\t99999999999999999999\ta\t");
    EXPECT_GT(list.head->expires, kFuture);
}

TEST(CookieFileLine, SpacesInFrontAreSkipped) {
    OwnList list;
    EXPECT_TRUE(list.addLine("   h.com\tfalse\t/\tfalse\t0\tn\tv"));
    EXPECT_EQ(text(list.head->domain), "h.com");
}

TEST(CookieFiles, LieInTheApplicationsFolder) {
    const CookieFolder folder("place");
    CookieFolder::write(folder.persistentFile(), "h.com\tfalse\t/\tfalse\t2000000000\tp\t1\n");
    CookieFolder::write(folder.sessionFile(), "h.com\tfalse\t/\tfalse\t0\ts\t2\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "p=1;s=2;");
}

TEST(CookieFiles, AreWrittenToTheLetter) {
    const CookieFolder folder("letter");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("p=1; path=/x/; max-age=1000; secure", "h.com", "/");
    jar.addCookieToPool("q=; domain=h.com; expires=Wed, 18 May 2033 03:33:20 GMT", "h.com", "/");
    jar.addCookieToPool("s=3; domain=h.com; httponly", "h.com", "/y/z");
    jar.readInCookieJar(folder.persistentFile());
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), "#HttpOnly_.h.com\ttrue\t/y/\tfalse\t0\ts\t3\n");
    const std::string lines = cookieLines(folder.persistentFile());
    EXPECT_EQ(lines.substr(0, lines.find("17")), "h.com\tfalse\t/x/\ttrue\t");
    EXPECT_EQ(lines.substr(lines.find('\n') + 1), ".h.com\ttrue\t/\tfalse\t2000000000\tq\t\n");
}

TEST(CookieFiles, BeginWithTheHeader) {
    const CookieFolder folder("header");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("s=3", "h.com", "/");
    jar.saveCookieFile();
    std::istringstream stream(CookieFolder::read(folder.sessionFile()));
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(line, "# Netscape HTTP Cookie File");
    std::getline(stream, line);
    EXPECT_EQ(line.substr(0, 10), "# https://");
    std::getline(stream, line);
    EXPECT_EQ(line, "# This file was generated by HAS engine, not by libcurl any more! "
                    "Edit at your own risk.");
    std::getline(stream, line);
    EXPECT_EQ(line, "");
    EXPECT_EQ(cookieLines(folder.persistentFile()), "");
}

TEST(CookieFiles, CookieWithoutDomainPathAndValueGetsPlaceholders) {
    const CookieFolder folder("holder");
    CookieFolder::write(folder.sessionFile(), "Set-Cookie: a=\nset-cookie:   b=2; domain=x\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), "unknown\tfalse\t/\tfalse\t0\ta\t\n"
                                                 ".x\ttrue\t/\tfalse\t0\tb\t2\n");
}

TEST(CookieFiles, NoSecondDotIsPutBeforeADomain) {
    const CookieFolder folder("dot");
    CookieFolder::write(folder.sessionFile(), "..h.com\ttrue\t/\tfalse\t0\tn\tv\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), ".h.com\ttrue\t/\tfalse\t0\tn\tv\n");
}

TEST(CookieFiles, HttpOnlyCookieComesBackAsItWas) {
    const CookieFolder folder("back");
    const std::string line = "#HttpOnly_.h.com\ttrue\t/\tfalse\t0\tn\tv\n";
    CookieFolder::write(folder.sessionFile(), line);
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), line);
}

TEST(CookieFiles, EachCookieGoesToItsFileAndExpiredOnesToNone) {
    const CookieFolder folder("sort");
    CookieFolder::write(folder.persistentFile(), "h.com\tfalse\t/\tfalse\t2000000000\tp\t1\n"
                                                 "h.com\tfalse\t/\tfalse\t1\told\t1\n"
                                                 "h.com\tfalse\t/\tfalse\t0\tmoved\t1\n");
    CookieFolder::write(folder.sessionFile(), "h.com\tfalse\t/\tfalse\t0\ts\t2\n"
                                              "h.com\tfalse\t/\tfalse\t2000000000\tq\t1\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.persistentFile()), "h.com\tfalse\t/\tfalse\t2000000000\tp\t1\n"
                                                    "h.com\tfalse\t/\tfalse\t2000000000\tq\t1\n");
    EXPECT_EQ(cookieLines(folder.sessionFile()), "h.com\tfalse\t/\tfalse\t0\tmoved\t1\n"
                                                 "h.com\tfalse\t/\tfalse\t0\ts\t2\n");
}

TEST(CookieFiles, ExpiryIsWrittenWith32Bits) {
    const CookieFolder folder("bits");
    CookieFolder::write(folder.persistentFile(),
                        "h.com\tfalse\t/\tfalse\t2147483647\ta\t\n"
                        "h.com\tfalse\t/\tfalse\t2147483648\tb\t\n"
                        "h.com\tfalse\t/\tfalse\t9223372036854775807\tc\t\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.persistentFile()), "h.com\tfalse\t/\tfalse\t2147483647\ta\t\n"
                                                    "h.com\tfalse\t/\tfalse\t-2147483648\tb\t\n"
                                                    "h.com\tfalse\t/\tfalse\t-1\tc\t\n");
}

TEST(CookieFiles, UserCookieIsNotSaved) {
    const CookieFolder folder("user");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("u=1; domain=h.com; path=/", "h.com", "/");
    jar.addCookieToPool("U=2; domain=h.com; path=/y", "h.com", "/");
    jar.addCookieToPool("v=3", "h.com", "/");
    jar.addUsrDefCookie("u=9; domain=h.com; path=/");
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), ".h.com\ttrue\t/y\tfalse\t0\tU\t2\n"
                                                 "h.com\tfalse\t/\tfalse\t0\tv\t3\n");
}

TEST(CookieFiles, UserCookieWithoutDomainOrPathKeepsNoneFromBeingSaved) {
    const CookieFolder folder("userany");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("u=1; domain=h.com; path=/", "h.com", "/");
    jar.addUsrDefCookie("u=9; domain=h.com");
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), ".h.com\ttrue\t/\tfalse\t0\tu\t1\n");
}

TEST(CookieFiles, OrderOfArrivalIsKept) {
    const CookieFolder folder("order");
    CHttpCookie jar;
    jar.init(folder.appId());
    for (const char* line : {"c=1", "a=1", "b=1", "C=2"})
        jar.addCookieToPool(line, "h.com", "/");
    jar.saveCookieFile();
    EXPECT_EQ(cookieLines(folder.sessionFile()), "h.com\tfalse\t/\tfalse\t0\tC\t2\n"
                                                 "h.com\tfalse\t/\tfalse\t0\ta\t1\n"
                                                 "h.com\tfalse\t/\tfalse\t0\tb\t1\n");
}

TEST(CookieFiles, EmptyJarLeavesBothAsTheyAre) {
    const CookieFolder folder("empty");
    CHttpCookie jar;
    jar.init(folder.appId());
    CookieFolder::write(folder.sessionFile(), "mine");
    test::LogCapture log;
    jar.saveCookieFile();
    EXPECT_EQ(CookieFolder::read(folder.sessionFile()), "mine");
    EXPECT_FALSE(fs::exists(folder.persistentFile()));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"flushOutCookieJar start >>>", "no cookie in pool",
                                        "flushOutCookieJar start >>>", "no cookie in pool"}));
}

TEST(CookieFiles, DestructorSavesOnlyWhatNobodySaved) {
    const CookieFolder folder("dtor");
    {
        CHttpCookie jar;
        jar.init(folder.appId());
        jar.addCookieToPool("a=1", "h.com", "/");
    }
    EXPECT_EQ(cookieLines(folder.sessionFile()), "h.com\tfalse\t/\tfalse\t0\ta\t1\n");
    {
        CHttpCookie jar;
        jar.init(folder.appId());
        jar.saveCookieFile();
        jar.addCookieToPool("b=1", "h.com", "/");
    }
    EXPECT_EQ(cookieLines(folder.sessionFile()), "h.com\tfalse\t/\tfalse\t0\ta\t1\n");
}

TEST(CookieFiles, InitBeginsANewJar) {
    const CookieFolder folder("again");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("a=1", "h.com", "/");
    jar.addUsrDefCookie("u=1");
    jar.init(folder.appId());
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "");
}

TEST(CookieFiles, OwnerAloneMayReadThem) {
    const CookieFolder folder("mode");
    CookieFolder::write(folder.sessionFile(), "h.com\tfalse\t/\tfalse\t0\tn\tv\n");
    ASSERT_EQ(chmod(folder.sessionFile().c_str(), 0666), 0);
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.saveCookieFile();
    for (const std::string& path : {folder.sessionFile(), folder.persistentFile()}) {
        struct stat info {};
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777U, 0600U);
    }
    EXPECT_EQ(namesIn(folder.file("")),
              (std::vector<std::string>{"persistent_cookie.txt", "session_cookie.txt"}));
}

TEST(CookieFiles, AFailedWriteLeavesTheOldFileWhole) {
    const CookieFolder folder("full");
    CookieFolder::write(folder.sessionFile(), "h.com\tfalse\t/\tfalse\t0\tn\told\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("big=" + std::string(4000, 'x'), "h.com", "/");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 1000;
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    jar.flushOutCookieJar(folder.sessionFile(), true);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(CookieFolder::read(folder.sessionFile()), "h.com\tfalse\t/\tfalse\t0\tn\told\n");
    EXPECT_EQ(namesIn(folder.file("")), std::vector<std::string>{"session_cookie.txt"});
}

TEST(CookieFiles, WhatACrashLeftBesideIsOverwritten) {
    const CookieFolder folder("crash");
    CookieFolder::write(folder.sessionFile() + ".new", std::string(100000, 'x'));
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("a=1", "h.com", "/");
    jar.flushOutCookieJar(folder.sessionFile(), true);
    EXPECT_EQ(cookieLines(folder.sessionFile()), "h.com\tfalse\t/\tfalse\t0\ta\t1\n");
    EXPECT_EQ(namesIn(folder.file("")), std::vector<std::string>{"session_cookie.txt"});
}

TEST(CookieFiles, ALinkIsFollowedAndStays) {
    const CookieFolder folder("link");
    CookieFolder::write(folder.file("real.txt"), "");
    fs::create_symlink("real.txt", folder.sessionFile());
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("a=1", "h.com", "/");
    jar.flushOutCookieJar(folder.sessionFile(), true);
    EXPECT_TRUE(fs::is_symlink(folder.sessionFile()));
    EXPECT_EQ(cookieLines(folder.file("real.txt")), "h.com\tfalse\t/\tfalse\t0\ta\t1\n");
}

TEST(CookieFiles, WhereNothingCanBeWrittenNothingHappens) {
    const CookieFolder folder("none");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("a=1", "h.com", "/");
    fs::create_directory(folder.file("folder"));
    test::LogCapture log;
    jar.flushOutCookieJar("/nonexistent/folder/file", true);
    jar.flushOutCookieJar(folder.file("folder"), true);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"flushOutCookieJar start >>>",
                                                        "flushOutCookieJar start >>>"}));
    EXPECT_EQ(namesIn(folder.file("")), std::vector<std::string>{"folder"});
}

TEST(CookieFiles, AMissingFolderIsNoError) {
    CHttpCookie jar;
    jar.init("hastest.there.is.no.such.application");
    jar.addCookieToPool("a=1", "h.com", "/");
    jar.saveCookieFile();
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "a=1;");
    EXPECT_FALSE(fs::exists("/opt/usr/apps/hastest.there.is.no.such.application"));
}

TEST(CookieFiles, LongLinesAreCutAndBadOnesPassedOver) {
    const CookieFolder folder("long");
    const std::string front = "h.com\tfalse\t/\tfalse\t0\tn\t";
    CookieFolder::write(folder.sessionFile(),
                        "bad line\n" + front + std::string(6000, 'v') +
                            "\tx.com\tfalse\t/\tfalse\t0\tsmuggled\t1\n\n\r\nSet-Cookie:\n" +
                            std::string("zero\0\n", 6) + "h.com\tfalse\t/\tfalse\t0\tlast\t1");
    CHttpCookie jar;
    jar.init(folder.appId());
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"),
              "last=1;n=" + std::string(4999 - front.size(), 'v') + ";");
    EXPECT_EQ(jar.getCookieFromPool("http://x.com/"), "");
}

TEST(CookieFiles, AFolderInPlaceOfAFileIsNoError) {
    const CookieFolder folder("isdir");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.readInCookieJar(folder.file(""));
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "");
}

TEST(CookieFiles, ReadingLogsItsSteps) {
    const CookieFolder folder("log");
    CookieFolder::write(folder.sessionFile(), "");
    test::LogCapture log;
    {
        CHttpCookie jar;
        jar.readInCookieJar("");
        jar.readInCookieJar(folder.persistentFile());
        jar.readInCookieJar(folder.sessionFile());
    }
    EXPECT_EQ(log.messages("CHttpCookie.cpp"),
              (std::vector<std::string>{
                  "CHttpCookie constructor", "readInCookieJar start >>>", "no cookie file",
                  "readInCookieJar start >>>", "<<< readInCookieJar end",
                  "readInCookieJar start >>>", "cookie file opened", "<<< readInCookieJar end",
                  "CHttpCookie deconstructor start >>>", "flushOutCookieJar start >>>",
                  "flushOutCookieJar start >>>", "<<< CHttpCookie deconstructor end"}));
}

TEST(CookieFiles, WritingLogsItsSteps) {
    const CookieFolder folder("wlog");
    CHttpCookie jar;
    jar.init(folder.appId());
    jar.addCookieToPool("a=1", "h.com", "/");
    test::LogCapture log;
    jar.flushOutCookieJar(folder.sessionFile(), true);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"flushOutCookieJar start >>>",
                                                        "<<< flushOutCookieJar end"}));
    EXPECT_EQ(log.lines().front().function, "flushOutCookieJar");
}

TEST(CookieFiles, ExpiryIsJudgedByTheWallClock) {
    CHttpCookie jar;
    jar.init("hastest.none");
    EXPECT_NEAR(static_cast<double>(jar.getPseudoUTC()), static_cast<double>(time(nullptr)), 2.0);
}

#ifdef HAS_SAMPLES_DIR
TEST(CookieSamples, FilesOfOtherProgramsAreRead) {
    CHttpCookie jar;
    jar.readInCookieJar(HAS_SAMPLES_DIR "/cookies/netscape/httponly_cookies.txt");
    EXPECT_EQ(jar.getCookieFromPool("https://www.foobar.foobar/"),
              "HTTPONLY_COOKIE=HTTPONLY_COOKIE_VALUE;"
              "JS_ACCESSIBLE_COOKIE=JS_ACCESSIBLE_COOKIE_VALUE;");
    EXPECT_EQ(jar.getCookieFromPool("http://www.foobar.foobar/"), "");
    jar.clearAll();
    jar.readInCookieJar(HAS_SAMPLES_DIR "/cookies/netscape/session_cookies.txt");
    // Empty fields are passed over, the expiry's too: so the name is read as the expiry.
    EXPECT_EQ(jar.getCookieFromPool("https://www.foobar.foobar/"),
              "YoutubeDLExpires0=YoutubeDLExpires0Value;YoutubeDLExpiresEmptyValue=;");
}
#endif

} // namespace
