// What a jar with the rules of browsers takes and keeps.
#include <support/CookieFolder.h>

#include <Hasnet/CHttpCookie.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using hascommon::CHttpCookie;
using test::CookieFolder;

class StrictCookies : public ::testing::Test {
protected:
    StrictCookies() { jar.SetStrictCookies(true); }

    /// Adds a header that a host sent. @return whether the jar then has a cookie for `url`
    bool takes(const std::string& line, const std::string& host, const std::string& url,
               bool secureOrigin = true, const std::string& path = "/") {
        CHttpCookie fresh;
        fresh.SetStrictCookies(true);
        fresh.addCookieToPool(line, host, path, secureOrigin);
        return !fresh.getCookieFromPool(url).empty();
    }

    CHttpCookie jar;
};

struct DomainRow {
    const char* domain;
    const char* host;
    const char* url;
    bool sent;
    const char* why;
};

TEST_F(StrictCookies, DomainThatIsAPublicSuffixOrAnotherAddressIsRefused) {
    constexpr DomainRow kRows[] = {
        {"com", "www.example.com", "https://www.example.com/", false, "a top-level domain"},
        {"co.uk", "www.example.co.uk", "https://www.example.co.uk/", false, "a registry's domain"},
        {"CO.UK", "www.example.co.uk", "https://www.example.co.uk/", false, "in capitals"},
        {".co.uk", "www.example.co.uk", "https://www.example.co.uk/", false, "behind a dot"},
        {"github.io", "a.github.io", "https://a.github.io/", false, "a hoster's domain"},
        {"lan", "box.lan", "https://box.lan/", false, "a domain that no list names"},
        {"2.3.4", "1.2.3.4", "https://1.2.3.4/", false, "the end of an address"},
        {"example.com", "www.example.com", "https://cdn.example.com/", true, "a site's domain"},
        {"example.co.uk", "a.example.co.uk", "https://b.example.co.uk/", true, "likewise"},
        {"co.uk", "co.uk", "https://co.uk/", true, "the suffix's own host"},
        {"co.uk", "co.uk", "https://example.co.uk/", false, "which has no subdomains then"},
        {"localhost", "localhost", "https://localhost/", true, "the host itself"},
        {"1.2.3.4", "1.2.3.4", "https://1.2.3.4/", true, "the address itself"},
        {"[::1]", "[::1]", "https://[::1]/", true, "likewise"},
    };
    for (const DomainRow& row : kRows)
        EXPECT_EQ(takes(std::string("a=1; Domain=") + row.domain, row.host, row.url), row.sent)
            << row.domain << ": " << row.why;
}

TEST_F(StrictCookies, PlainAnswerDoesNotSetASecureCookie) {
    EXPECT_TRUE(takes("a=1; Secure", "h.example.com", "https://h.example.com/", true));
    EXPECT_FALSE(takes("a=1; Secure", "h.example.com", "https://h.example.com/", false));
    EXPECT_TRUE(takes("a=1", "h.example.com", "https://h.example.com/", false));
}

TEST_F(StrictCookies, AnswerOfUnknownSchemeCountsAsPlain) {
    jar.addCookieToPool("a=1; Secure", "h.example.com", "/");
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/"), "");
}

TEST_F(StrictCookies, PlainAnswerNeitherReplacesNorHidesASecureCookie) {
    jar.addCookieToPool("a=1; Secure; Domain=example.com; Path=/x", "h.example.com", "/", true);
    jar.addCookieToPool("a=2; Domain=example.com; Path=/x", "h.example.com", "/", false);
    jar.addCookieToPool("a=3; Path=/x", "h.example.com", "/", false);   // of a subdomain
    jar.addCookieToPool("A=4; Path=/x/y", "h.example.com", "/", false); // below its path
    jar.addCookieToPool("a=; Domain=example.com; Path=/x; Max-Age=0", "h.example.com", "/", false);
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/x/y"), "a=1;");
}

TEST_F(StrictCookies, PlainAnswerSetsACookieWhereTheSecureOneDoesNotReach) {
    jar.addCookieToPool("a=1; Secure; Path=/x", "h.example.com", "/", true);
    jar.addCookieToPool("a=2; Path=/y", "h.example.com", "/", false);
    jar.addCookieToPool("a=3; Path=/x", "k.example.com", "/", false);
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/y"), "a=2;");
    EXPECT_EQ(jar.getCookieFromPool("https://k.example.com/x"), "a=3;");
}

TEST_F(StrictCookies, SecureAnswerReplacesASecureCookie) {
    jar.addCookieToPool("a=1; Secure", "h.example.com", "/", true);
    jar.addCookieToPool("a=2", "h.example.com", "/", true);
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/"), "a=2;");
}

TEST_F(StrictCookies, NamePrefixesHoldWhatTheyPromise) {
    struct Row {
        const char* line;
        bool secureOrigin;
        bool taken;
    };
    constexpr Row kRows[] = {
        {"__Secure-a=1; Secure", true, true},
        {"__Secure-a=1; Secure; Domain=example.com; Path=/x", true, true},
        {"__Secure-a=1", true, false},
        {"__secure-a=1", true, false}, // whatever the letters' case
        {"__Secure-a=1; Secure", false, false},
        {"__Host-a=1; Secure; Path=/", true, true},
        {"__Host-a=1; Path=/", true, false},
        {"__Host-a=1; Secure", true, false}, // the path has to be given
        {"__Host-a=1; Secure; Path=/x", true, false},
        {"__Host-a=1; Secure; Path=/; Domain=h.example.com", true, false},
        {"__HOST-a=1; Secure; Path=/x", true, false},
        {"__Host-a=1; Secure; Path=/", false, false},
        {"__Hostile=1", true, true},
    };
    for (const Row& row : kRows)
        EXPECT_EQ(takes(row.line, "h.example.com", "https://h.example.com/x", row.secureOrigin),
                  row.taken)
            << row.line << (row.secureOrigin ? "" : " over plain http");
}

TEST_F(StrictCookies, DomainKeeps180CookiesAndTheLeastRecentlyUsedGoesFirst) {
    for (int i = 0; i < 180; ++i)
        jar.addCookieToPool("n" + std::to_string(i) + "=v; Path=/" + std::to_string(i),
                            "h.example.com", "/", true);
    jar.addCookieToPool("other=v", "k.example.com", "/", true);
    jar.getCookieFromPool("https://h.example.com/0"); // The oldest is used, so the second goes.
    jar.addCookieToPool("n180=v; Path=/180", "h.example.com", "/", true);
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/0"), "n0=v;");
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/1"), "");
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/2"), "n2=v;");
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/180"), "n180=v;");
    EXPECT_EQ(jar.getCookieFromPool("https://k.example.com/"), "other=v;");
}

TEST_F(StrictCookies, ExpiredCookieGivesWayBeforeAnUnusedOne) {
    jar.addCookieToPool("first=v; Path=/first", "h.example.com", "/", true);
    for (int i = 1; i < 180; ++i)
        jar.addCookieToPool("n" + std::to_string(i) + "=v; Path=/" + std::to_string(i) +
                                (i == 90 ? "; Max-Age=-1" : ""),
                            "h.example.com", "/", true);
    jar.addCookieToPool("n180=v; Path=/180", "h.example.com", "/", true);
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/first"), "first=v;");
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/1"), "n1=v;");
    jar.addCookieToPool("n181=v; Path=/181", "h.example.com", "/", true);
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/2"), "");
    EXPECT_EQ(jar.getCookieFromPool("https://h.example.com/3"), "n3=v;");
}

/// How many of the hosts below h0 to hN the jar has a cookie for.
int hostsWithACookie(CHttpCookie& jar, int hosts) {
    int count = 0;
    for (int i = 0; i < hosts; ++i)
        count += jar.getCookieFromPool("https://h" + std::to_string(i) + ".net/").empty() ? 0 : 1;
    return count;
}

TEST_F(StrictCookies, JarKeeps3000Cookies) {
    for (int i = 0; i < 3010; ++i)
        jar.addCookieToPool("a=v", "h" + std::to_string(i) + ".net", "/", true);
    EXPECT_EQ(hostsWithACookie(jar, 3010), 3000);
    EXPECT_EQ(jar.getCookieFromPool("https://h9.net/"), "");
    EXPECT_EQ(jar.getCookieFromPool("https://h10.net/"), "a=v;");
}

TEST(LenientCookies, JarKeepsAllUntilStrictRulesAreTurnedOn) {
    CHttpCookie jar;
    for (int i = 0; i < 3010; ++i)
        jar.addCookieToPool("a=v; Secure; Domain=net", "h" + std::to_string(i) + ".net", "/");
    for (int i = 0; i < 3010; ++i)
        jar.addCookieToPool("b=v", "h" + std::to_string(i) + ".net", "/");
    EXPECT_EQ(jar.getCookieFromPool("https://h0.net/"), "b=v;a=v;");
    EXPECT_EQ(hostsWithACookie(jar, 3010), 3010);
    jar.SetStrictCookies(true);
    jar.addCookieToPool("a=gone; Max-Age=0", "net", "/", true);
    EXPECT_LE(hostsWithACookie(jar, 3010), 3000);
    jar.SetStrictCookies(false);
    for (int i = 0; i < 3010; ++i)
        jar.addCookieToPool("c=v", "h" + std::to_string(i) + ".net", "/");
    EXPECT_EQ(hostsWithACookie(jar, 3010), 3010);
}

TEST_F(StrictCookies, StoredCookieOfAPublicSuffixLosesItsSubdomains) {
    const CookieFolder folder("strict");
    const std::string path = folder.file("cookies.txt");
    CookieFolder::write(path, ".co.uk\ttrue\t/\tfalse\t2000000000\ta\t1\n"
                              ".example.co.uk\ttrue\t/\tfalse\t2000000000\tb\t2\n");
    jar.readInCookieJar(path);
    EXPECT_EQ(jar.getCookieFromPool("http://www.example.co.uk/"), "b=2;");
    EXPECT_EQ(jar.getCookieFromPool("http://co.uk/"), "a=1;");
}

} // namespace
