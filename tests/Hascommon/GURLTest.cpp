#include <Hascommon/GURL.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <string>
#include <utility>
#include <vector>

namespace {

void expectInvalid(const std::string& text) {
    const GURL url(text);
    EXPECT_FALSE(url.is_valid()) << text << " became " << url.spec();
    EXPECT_EQ(url.spec() + url.scheme() + url.host() + url.port() + url.path() + url.query(), "")
        << text;
    EXPECT_FALSE(url.SchemeIs("http")) << text;
}

void expectHost(const std::string& text, const std::string& host) {
    const GURL url(text);
    EXPECT_TRUE(url.is_valid()) << text;
    EXPECT_EQ(url.host(), host) << text;
}

std::string resolve(const std::string& base, const std::string& relative) {
    return GURL(base).Resolve(relative).spec();
}

TEST(GURL, TakesAUrlApart) {
    const GURL url("HTTP://User:Pw@Example.COM:8080/a/b.m3u8?x=1&y=%20#top");
    EXPECT_TRUE(url.is_valid());
    EXPECT_EQ(url.spec(), "http://User:Pw@example.com:8080/a/b.m3u8?x=1&y=%20#top");
    EXPECT_EQ(url.scheme(), "http");
    EXPECT_EQ(url.host(), "example.com");
    EXPECT_EQ(url.port(), "8080");
    EXPECT_EQ(url.path(), "/a/b.m3u8");
    EXPECT_EQ(url.query(), "x=1&y=%20");
}

TEST(GURL, IsTheSameClassInBothScopes) {
    const hascommon::GURL url = ::GURL("http://h/");
    EXPECT_TRUE(url.is_valid());
}

TEST(GURL, ADefaultOneIsInvalid) {
    const GURL url;
    EXPECT_FALSE(url.is_valid());
    EXPECT_EQ(url.spec(), "");
}

TEST(GURL, SchemeIsComparesWithAValidUrl) {
    EXPECT_TRUE(GURL("HTTPS://h/").SchemeIs("https"));
    EXPECT_FALSE(GURL("https://h/").SchemeIs("http"));
    EXPECT_FALSE(GURL("https://h/").SchemeIs(nullptr));
    EXPECT_FALSE(GURL().SchemeIs(""));
}

TEST(GURL, DropsTheSchemesOwnPort) {
    EXPECT_EQ(GURL("http://h:80/").spec(), "http://h/");
    EXPECT_EQ(GURL("https://h:443/").spec(), "https://h/");
    EXPECT_EQ(GURL("https://h:443/").port(), "");
    EXPECT_EQ(GURL("https://h:80/").port(), "80");
    EXPECT_EQ(GURL("http://h:443/").spec(), "http://h:443/");
    EXPECT_EQ(GURL("http://h:/").spec(), "http://h/");
    EXPECT_EQ(GURL("http://h:0081/").port(), "81");
}

TEST(GURL, AnEmptyPathIsASlash) {
    EXPECT_EQ(GURL("http://h").path(), "/");
    EXPECT_EQ(GURL("http://h?q").path(), "/");
    EXPECT_EQ(GURL("http://h?q").query(), "q");
    EXPECT_EQ(GURL("http://h#f").spec(), "http://h/#f");
}

TEST(GURL, RemovesDotSegments) {
    EXPECT_EQ(GURL("http://h/a/./b/../c").path(), "/a/c");
    EXPECT_EQ(GURL("http://h/../../x").path(), "/x");
    EXPECT_EQ(GURL("http://h/a/..").path(), "/");
    EXPECT_EQ(GURL("http://h/a?b=/../c").query(), "b=/../c");
}

TEST(GURL, UserInformationIsNeverPartOfTheHost) {
    expectHost("http://good.com@evil.com/", "evil.com");
    expectHost("http://good.com:80@evil.com/", "evil.com");
    expectHost("http://good.com%2F@evil.com/", "evil.com");
    expectHost("http://good.com\\@evil.com/", "evil.com");
    expectHost("http://h/@x", "h");
    expectHost("http://h?@x", "h");
    expectHost("http://h#@x", "h");
}

TEST(GURL, AHostInBracketsIsAnIpv6Address) {
    expectHost("http://[::1]:8080/", "[::1]");
    expectHost("http://[FE80:0:0::1%25eth0]/", "[fe80::1]");
    EXPECT_EQ(GURL("http://[::1]:8080/").port(), "8080");
    for (const char* text : {"http://[::1", "http://::1/", "http://[g::1]/", "http://[]/",
                             "http://[1::2::3]/", "http://[::1]x/", "http://[v1.x]/"})
        expectInvalid(text);
}

TEST(GURL, NumericHostsHaveOneForm) {
    expectHost("http://127.0.0.1/", "127.0.0.1");
    expectHost("http://0x7f.1/", "127.0.0.1");
    expectHost("http://2130706433/", "127.0.0.1");
    expectHost("http://0177.0.0.1/", "127.0.0.1");
}

TEST(GURL, TheHighestAddressIsOneWhateverFailedBefore) {
    for (const char* host : {"4294967295", "0xffffffff", "037777777777"}) {
        errno = ERANGE;
        expectHost(std::string("http://") + host + "/", "255.255.255.255");
    }
}

TEST(GURL, InternationalHostsAreInTheirAsciiForm) {
    expectHost("http://fa\xC3\x9F.de/", "xn--fa-hia.de");
    expectHost("http://\xE2\x98\x83.net/", "xn--n3h.net");
    expectHost("http://%E2%98%83.net/", "xn--n3h.net");
    expectHost("http://B\xC3\x9C"
               "CHER.example/",
               "xn--bcher-kva.example");
    expectHost("http://XN--N3H.net/", "xn--n3h.net");
}

TEST(GURL, DigitsOfAnotherScriptMakeTheAddressTheyStandFor) {
    // Full-width "127", ideographic full stop, full-width "0.0.1".
    expectHost("http://\xEF\xBC\x91\xEF\xBC\x92\xEF\xBC\x97\xE3\x80\x82"
               "0.0.1/",
               "127.0.0.1");
}

TEST(GURL, InternationalHostsDoNotDependOnTheLocale) {
    const char* const before = setlocale(LC_ALL, nullptr);
    const std::string saved = before == nullptr ? "C" : before;
    for (const char* locale : {"C", "C.UTF-8", "POSIX"}) {
        setlocale(LC_ALL, locale);
        expectHost("http://fa\xC3\x9F.de/", "xn--fa-hia.de");
    }
    setlocale(LC_ALL, saved.c_str());
}

TEST(GURL, ACharacterThatMapsToADelimiterIsNoHost) {
    expectInvalid("http://good.com\xEF\xBC\x8F.evil.com/"); // full-width solidus
    expectInvalid("http://good.com\xEF\xBC\xA0"
                  "evil.com/"); // full-width commercial at
    expectInvalid("http://good.com\xEF\xBC\x9F"
                  "evil.com/"); // full-width question mark
    expectInvalid("http://good.com\xEF\xBC\x9A"
                  "81/"); // full-width colon
}

TEST(GURL, BytesThatAreNoUtf8AreNoHost) {
    expectInvalid("http://\xFF.com/");
    expectInvalid("http://%FF.com/");
}

TEST(GURL, DelimitersInDisguiseAreNoHost) {
    for (const char* text : {"http://a%2Fb/", "http://a%40b/", "http://a%3Ab/", "http://a%25b/",
                             "http://a%252Fb/", "http://a%00b/", "http://a%0Ab/", "http://a b/",
                             "http://a<b/", "http://a|b/", "http://a^b/", "http://a`b/"})
        expectInvalid(text);
}

TEST(GURL, WhatIsNoUrlIsInvalid) {
    for (const char* text : {"",
                             " ",
                             "h",
                             "/a",
                             "//h/a",
                             "http",
                             "http:",
                             "http:/",
                             "http://",
                             "http:///",
                             "http://@/",
                             "http://u@/",
                             "http://:80/",
                             "http://h:65536/",
                             "http://h:-1/",
                             "http://h:8a/",
                             "http://h:1:2/",
                             "nosuchscheme://h/",
                             "mailto:a@b",
                             " http://h/",
                             "http ://h/",
                             "http://a@b@c/"})
        expectInvalid(text);
}

TEST(GURL, ControlCharactersAndZeroBytesAreInvalid) {
    expectInvalid(std::string("http://good.com\0.evil.com/", 26));
    expectInvalid(std::string("http://h/\0", 10));
    for (const char* text : {"http://h/a\nb", "http://h/a\rb", "http://h/a\tb", "http://h/\x01",
                             "http://h/\x7F", "http://h\n/", "http://h/?\n", "\nhttp://h/"})
        expectInvalid(text);
}

TEST(GURL, EncodesSpacesAndBytesBeyondAscii) {
    const GURL url("http://h/a b/\xC3\xA9?q \xC3\xA9#f \xC3\xA9");
    EXPECT_EQ(url.spec(), "http://h/a%20b/%C3%A9?q%20%C3%A9#f%20%C3%A9");
    EXPECT_EQ(url.path(), "/a%20b/%C3%A9");
    EXPECT_EQ(url.query(), "q%20%C3%A9");
}

TEST(GURL, KeepsPercentEncodingsAsTheyAre) {
    EXPECT_EQ(GURL("http://h/%41%2f%zz%").path(), "/%41%2f%zz%");
}

TEST(GURL, AVeryLongUrlIsParsedWhole) {
    const std::string path(100000, 'p');
    EXPECT_EQ(GURL("http://h/" + path).path(), "/" + path);
}

TEST(GURL, TheCanonicalFormIsItsOwn) {
    for (const char* text :
         {"HTTP://U@H:80/a/../b c?d e#f g", "http://[::0:1]:80", "http://0x7f.1", "http://h?#",
          "http://fa\xC3\x9F.de/\xC3\xA9", "https://h:0443//a//b/"}) {
        const GURL once(text);
        ASSERT_TRUE(once.is_valid()) << text;
        EXPECT_EQ(GURL(once.spec()).spec(), once.spec());
    }
}

TEST(GURLResolve, FollowsReferences) {
    const std::string base = "http://h:81/a/b/c?d/e#f/g";
    const std::vector<std::pair<const char*, const char*>> rows = {
        {"", "http://h:81/a/b/c?d/e"},
        {"x", "http://h:81/a/b/x"},
        {"./x", "http://h:81/a/b/x"},
        {"x/", "http://h:81/a/b/x/"},
        {"/x", "http://h:81/x"},
        {"//o.com/y", "http://o.com/y"},
        {"//O.com:80/y", "http://o.com/y"},
        {"?y", "http://h:81/a/b/c?y"},
        {"x?y", "http://h:81/a/b/x?y"},
        {"#s", "http://h:81/a/b/c?d/e#s"},
        {"x#s", "http://h:81/a/b/x#s"},
        {".", "http://h:81/a/b/"},
        {"./", "http://h:81/a/b/"},
        {"..", "http://h:81/a/"},
        {"../", "http://h:81/a/"},
        {"../x", "http://h:81/a/x"},
        {"../..", "http://h:81/"},
        {"../../x", "http://h:81/x"},
        {"../../../x", "http://h:81/x"},
        {"/../x", "http://h:81/x"},
        {"x.", "http://h:81/a/b/x."},
        {"..x", "http://h:81/a/b/..x"},
        {"./../x", "http://h:81/a/x"},
        {"x/./y", "http://h:81/a/b/x/y"},
        {"x/../y", "http://h:81/a/b/y"},
        {"x;1=1/../y", "http://h:81/a/b/y"},
        {"x?y/../z", "http://h:81/a/b/x?y/../z"},
        {"./a:b", "http://h:81/a/b/a:b"},
        {"https://z", "https://z/"},
        {"HTTP://Z/x/../y", "http://z/y"},
        {"a b", "http://h:81/a/b/a%20b"},
        {"\xC3\xA9", "http://h:81/a/b/%C3%A9"},
        {"# ", "http://h:81/a/b/c?d/e#%20"},
    };
    for (const auto& [relative, expected] : rows)
        EXPECT_EQ(resolve(base, relative), expected) << relative;
}

TEST(GURLResolve, ABadReferenceOrBaseGivesAnInvalidUrl) {
    const GURL base("http://h/");
    EXPECT_FALSE(base.Resolve("http://").is_valid());
    EXPECT_FALSE(base.Resolve("//a b/").is_valid());
    EXPECT_FALSE(base.Resolve("x\ny").is_valid());
    EXPECT_FALSE(base.Resolve("#\n").is_valid());
    EXPECT_FALSE(base.Resolve(std::string("a\0b", 3)).is_valid());
    EXPECT_FALSE(GURL("h").Resolve("http://h/").is_valid());
}

TEST(GURLResolve, LeavesTheBaseAsItWas) {
    const GURL base("http://h/a#f");
    base.Resolve("b");
    EXPECT_EQ(base.spec(), "http://h/a#f");
}

} // namespace
