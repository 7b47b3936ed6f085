#include <support/CookieFolder.h>
#include <support/CookieJar.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using hascommon::CHttpCookie;
using test::CookieFolder;

constexpr int kRounds = 200;

TEST(CookieThreads, ResponsesAndRequestsShareTheJar) {
    const CookieFolder folder("threads");
    CookieFolder::write(folder.file("more.txt"), "h.com\tfalse\t/m\tfalse\t0\tm\t1\n");
    CHttpCookie jar;
    jar.init(folder.appId());
    std::thread responses([&] {
        for (int i = 0; i < kRounds; ++i) {
            jar.addCookieToPool("a=" + std::to_string(i), "h.com", "/");
            jar.addCookieToPool("b" + std::to_string(i) + "=1; path=/b", "h.com", "/");
            jar.addUsrDefCookie("u=" + std::to_string(i));
        }
    });
    std::thread files([&] {
        for (int i = 0; i < kRounds / 20; ++i) {
            jar.saveCookieFile();
            jar.readInCookieJar(folder.file("more.txt"));
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        const std::string text = jar.getCookieFromPool("http://h.com/");
        EXPECT_TRUE(text.empty() || text.find('=') == 1) << text;
    }
    responses.join();
    files.join();
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "a=199;u=199");
}

TEST(CookieThreads, TwoJarsOfOneApplicationNeverWriteHalfAFile) {
    const CookieFolder folder("twojars");
    const auto saveOften = [&](const std::string& name) {
        CHttpCookie jar;
        jar.init(folder.appId());
        jar.addCookieToPool(name + "=" + std::string(3000, 'x'), "h.com", "/");
        for (int i = 0; i < kRounds / 10; ++i)
            jar.flushOutCookieJar(folder.sessionFile(), true);
    };
    std::thread first(saveOften, "a");
    std::thread second(saveOften, "b");
    for (int i = 0; i < kRounds; ++i) {
        const std::string content = CookieFolder::read(folder.sessionFile());
        EXPECT_TRUE(content.empty() || content.substr(content.size() - 5) == "xxxx\n");
    }
    first.join();
    second.join();
}

} // namespace
