#include <support/CookieJar.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using hascommon::CHttpCookie;
using test::OwnList;

TEST(CookieTailMatch, NeedsADotOrTheWholeHost) {
    EXPECT_TRUE(CHttpCookie::tailmatch("example.com", "example.com"));
    EXPECT_TRUE(CHttpCookie::tailmatch("example.com", "WWW.Example.COM"));
    EXPECT_FALSE(CHttpCookie::tailmatch("ample.com", "example.com"));
    EXPECT_FALSE(CHttpCookie::tailmatch("www.example.com", "example.com"));
    EXPECT_FALSE(CHttpCookie::tailmatch("example.org", "example.com"));
    EXPECT_FALSE(CHttpCookie::tailmatch("", "example.com"));
    EXPECT_TRUE(CHttpCookie::tailmatch("", ""));
    EXPECT_TRUE(CHttpCookie::tailmatch(nullptr, nullptr));
}

TEST(CookiePathMatch, NeedsASlashOrTheWholePath) {
    EXPECT_TRUE(CHttpCookie::pathmatch("/", "/anything"));
    EXPECT_TRUE(CHttpCookie::pathmatch("x", "/anything"));
    EXPECT_TRUE(CHttpCookie::pathmatch("/x", "/x"));
    EXPECT_TRUE(CHttpCookie::pathmatch("/x", "/x/y"));
    EXPECT_TRUE(CHttpCookie::pathmatch("/x", "/x?q"));
    EXPECT_TRUE(CHttpCookie::pathmatch("/x", "/x/?q"));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x", "/xy"));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x", "/X"));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x", "/?/x"));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x/y", "/x"));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x", "x"));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x", ""));
    EXPECT_FALSE(CHttpCookie::pathmatch("/x", nullptr));
    EXPECT_TRUE(CHttpCookie::pathmatch("", ""));
}

TEST(CookieSanitizePath, StripsOneQuoteOfEachSideAndOneSlash) {
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("/x"), "/x");
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("/x/"), "/x");
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("/x//"), "/x/");
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("\"/x/\""), "/x");
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("\"/x"), "/x");
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("/x\""), "/x");
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path("\"\"/x\"\""), "/");
    for (const char* path : {"", "/", "//", "x", "\"", "\"\"", "\"/\"", "x/y"})
        EXPECT_EQ(CHttpCookie::sanitize_cookie_path(path), "/") << path;
    EXPECT_EQ(CHttpCookie::sanitize_cookie_path(nullptr), "/");
}

TEST(CookieTexts, AreComparedWithoutCase) {
    EXPECT_TRUE(CHttpCookie::rawEqual("aZ1", "Az1"));
    EXPECT_FALSE(CHttpCookie::rawEqual("a", "ab"));
    EXPECT_TRUE(CHttpCookie::rawEqual(nullptr, ""));
    EXPECT_TRUE(CHttpCookie::rawNEqual("Set-Cookie: a", "set-cookie: b", 11));
    EXPECT_FALSE(CHttpCookie::rawNEqual("Set-Cookie: a", "set-cookie: b", 13));
    EXPECT_FALSE(CHttpCookie::rawNEqual("Set", "set-cookie", 10));
    EXPECT_TRUE(CHttpCookie::rawNEqual("a", "b", 0));
    EXPECT_EQ(CHttpCookie::shiftToUpper('z'), 'Z');
    EXPECT_EQ(CHttpCookie::shiftToUpper('{'), '{');
    EXPECT_TRUE(CHttpCookie::isBlank(' '));
    EXPECT_FALSE(CHttpCookie::isBlank('\t'));
}

TEST(CookieTexts, StoreReplacesByACopy) {
    char* field = nullptr;
    EXPECT_TRUE(CHttpCookie::strstore(&field, "one"));
    EXPECT_TRUE(CHttpCookie::strstore(&field, "two"));
    EXPECT_STREQ(field, "two");
    EXPECT_FALSE(CHttpCookie::strstore(&field, nullptr));
    EXPECT_STREQ(field, "two");
    EXPECT_FALSE(CHttpCookie::strstore(nullptr, "x"));
    free(field);
}

TEST(CookieSort, LongerPathThenLongerDomainThenName) {
    char shortText[] = "/";
    char longText[] = "/long";
    char nameA[] = "a";
    char nameB[] = "b";
    hascommon::Cookie a{};
    hascommon::Cookie b{};
    EXPECT_EQ(CHttpCookie::cookie_sort(&a, &b), 0);
    a.name = nameA;
    EXPECT_EQ(CHttpCookie::cookie_sort(&a, &b), 0);
    b.name = nameB;
    EXPECT_LT(CHttpCookie::cookie_sort(&a, &b), 0);
    b.domain = shortText;
    EXPECT_GT(CHttpCookie::cookie_sort(&a, &b), 0);
    a.domain = longText;
    EXPECT_LT(CHttpCookie::cookie_sort(&a, &b), 0);
    b.path = shortText;
    EXPECT_GT(CHttpCookie::cookie_sort(&a, &b), 0);
    a.path = longText;
    EXPECT_LT(CHttpCookie::cookie_sort(&a, &b), 0);
}

TEST(CookieList, SecureCookieWithAPathGoesToItsPathOverHttpsOnly) {
    OwnList list;
    list.addHeader("a=1; Path=/x; Secure");
    EXPECT_EQ(list.match("h", "/x", true), "a=1;");
    EXPECT_EQ(list.match("h", "/x/y", true), "a=1;");
    EXPECT_EQ(list.match("h", "/xy", true), "");
    EXPECT_EQ(list.match("h", "/x", false), "");
}

TEST(CookieList, DomainAttributeTakesSubdomainsIn) {
    OwnList list;
    list.addHeader("a=1; domain=.example.com");
    EXPECT_EQ(list.match("example.com", "/", false), "a=1;");
    EXPECT_EQ(list.match("www.example.com", "/", false), "a=1;");
    EXPECT_EQ(list.match("myexample.com", "/", false), "");
}

TEST(CookieList, DomainOfTheRequestIsForThatHostOnly) {
    OwnList list;
    list.addHeader("a=1", "example.com", "/");
    EXPECT_EQ(list.match("EXAMPLE.com", "/", false), "a=1;");
    EXPECT_EQ(list.match("www.example.com", "/", false), "");
}

TEST(CookieList, CookieWithoutADomainGoesEverywhere) {
    OwnList list;
    list.addHeader("a=1");
    EXPECT_EQ(list.match("any", "/where", false), "a=1;");
    EXPECT_EQ(list.match(nullptr, nullptr, false), "a=1;");
}

TEST(CookieList, ExpiredCookieIsNotFound) {
    OwnList list;
    list.addHeader("a=1; max-age=0");
    list.addHeader("b=1; expires=Thu, 01 Jan 1970 00:00:00 GMT");
    list.addHeader("c=1; max-age=1000");
    list.addHeader("d=1; expires=never");
    EXPECT_EQ(list.match("h", "/", false), "c=1;d=1;");
}

TEST(CookieList, MatchesAreSorted) {
    OwnList list;
    list.addHeader("z=1; path=/; domain=com");
    list.addHeader("y=2; path=/; domain=h.com");
    list.addHeader("x=3; path=/; domain=h.com");
    list.addHeader("w=4");
    list.addHeader("v=5; path=/a/b");
    EXPECT_EQ(list.match("h.com", "/a/b/c", false), "v=5;x=3;y=2;z=1;w=4;");
}

TEST(CookieList, CopiesBorrowTheTexts) {
    OwnList list;
    list.addHeader("a=1");
    CHttpCookie jar;
    hascommon::Cookie* const copies = jar.getCookieEntryFromList(list.head, "h", "/", false);
    ASSERT_NE(copies, nullptr);
    EXPECT_NE(copies, list.head);
    EXPECT_EQ(copies->name, list.head->name);
    EXPECT_EQ(copies->next, nullptr);
    CHttpCookie::freeCookieCopies(copies);
    EXPECT_EQ(jar.getCookieEntryFromList(nullptr, "h", "/", false), nullptr);
}

TEST(CookiePool, JarCookiesEndWithASemicolonEach) {
    CHttpCookie jar;
    jar.addCookieToPool("b=2; path=/", "h.com", "/");
    jar.addCookieToPool("a=1; path=/a/b", "h.com", "/");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/a/b"), "a=1;b=2;");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/a/b/c?x"), "a=1;b=2;");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "b=2;");
    EXPECT_EQ(jar.getCookieFromPool("http://i.com/"), "");
}

TEST(CookiePool, SecureFollowsTheScheme) {
    CHttpCookie jar;
    jar.addCookieToPool("a=1; secure", "h.com", "/");
    EXPECT_EQ(jar.getCookieFromPool("https://h.com/"), "a=1;");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "");
}

TEST(CookiePool, UserInformationPortAndCaseOfTheUrlDoNotMatter) {
    CHttpCookie jar;
    jar.addCookieToPool("a=1", "h.com", "/");
    EXPECT_EQ(jar.getCookieFromPool("HTTP://h.com:8080"), "a=1;");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com@evil.org/"), "");
    EXPECT_EQ(jar.getCookieFromPool("http://x:y@H.COM/"), "a=1;");
}

TEST(CookiePool, AServerCannotSetCookiesForAnother) {
    CHttpCookie jar;
    jar.addCookieToPool("a=1; domain=victim.com", "evil.org", "/");
    EXPECT_EQ(jar.getCookieFromPool("http://victim.com/"), "");
}

TEST(CookiePool, AnInvalidUrlGetsNoCookieOfAnyHost) {
    CHttpCookie jar;
    jar.addCookieToPool("a=1", "h.com", "/");
    jar.addCookieToPool("b=1; domain=h.com", "h.com", "/");
    EXPECT_EQ(jar.getCookieFromPool(""), "");
    EXPECT_EQ(jar.getCookieFromPool("h.com"), "");
}

TEST(CookiePool, HostsWithManyLabelsAreMatchedAsWell) {
    CHttpCookie jar;
    std::string host = "h.com";
    for (int i = 0; i < 200; ++i)
        host.insert(0, "a.");
    jar.addCookieToPool("a=1; domain=h.com", "h.com", "/");
    jar.addCookieToPool("b=1", host, "/");
    EXPECT_EQ(jar.getCookieFromPool("http://" + host + "/"), "b=1;a=1;");
}

TEST(CookiePool, DomainsWithOddDotsAreFound) {
    CHttpCookie jar;
    jar.addCookieToPool("a=1; domain=..h.com", "www..h.com", "/");
    jar.addCookieToPool("b=1; domain=h.com.", "www.h.com.", "/");
    EXPECT_EQ(jar.getCookieFromPool("http://www..h.com/"), "a=1;");
    EXPECT_EQ(jar.getCookieFromPool("http://www.h.com./"), "b=1;");
}

TEST(CookiePool, UserCookieComesLastWithoutASemicolon) {
    CHttpCookie jar;
    jar.addUsrDefCookie("u=9");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "u=9");
    jar.addCookieToPool("a=1", "h.com", "/");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "a=1;u=9");
}

TEST(CookiePool, UserCookieGoesOnlyWhereItMatches) {
    CHttpCookie jar;
    jar.addUsrDefCookie("u=9; domain=h.com; path=/x; secure");
    EXPECT_EQ(jar.getCookieFromPool("https://www.h.com/x"), "u=9");
    EXPECT_EQ(jar.getCookieFromPool("http://www.h.com/x"), "");
    EXPECT_EQ(jar.getCookieFromPool("https://www.h.com/"), "");
    EXPECT_EQ(jar.getCookieFromPool("https://i.com/x"), "");
}

TEST(CookiePool, UserCookieStandsForTheJarCookieWithItsNameDomainAndPath) {
    CHttpCookie jar;
    jar.addCookieToPool("u=1; domain=h.com; path=/x", "h.com", "/");
    jar.addCookieToPool("U=2; domain=h.com; path=/y", "h.com", "/");
    jar.addUsrDefCookie("u=9; domain=h.com; path=/x");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/x"), "u=9");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/y"), "U=2;");
}

TEST(CookiePool, UserCookieThatDiffersInCaseStandsBeside) {
    CHttpCookie jar;
    jar.addCookieToPool("u=1; domain=h.com; path=/x", "h.com", "/");
    jar.addUsrDefCookie("U=9; domain=h.com; path=/x");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/x"), "u=1;U=9");
}

TEST(CookiePool, AnotherUserCookieReplacesTheFirst) {
    CHttpCookie jar;
    jar.addUsrDefCookie("u=1");
    jar.addUsrDefCookie("v=2; path=/v");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/v"), "v=2");
    jar.addUsrDefCookie("not a cookie");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/v"), "");
}

TEST(CookiePool, UserCookieCanBeDropped) {
    CHttpCookie jar;
    jar.delUsrDefCookie();
    jar.addUsrDefCookie("u=1");
    jar.delUsrDefCookie();
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "");
}

TEST(CookiePool, ClearAllDropsEverything) {
    CHttpCookie jar;
    jar.addUsrDefCookie("u=1");
    jar.addCookieToPool("a=1", "h.com", "/");
    jar.clearAll();
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "");
    jar.addCookieToPool("a=2", "h.com", "/");
    EXPECT_EQ(jar.getCookieFromPool("http://h.com/"), "a=2;");
}

TEST(CookiePool, LogsWhatItIsGivenAndAsked) {
    CHttpCookie jar;
    test::LogCapture log;
    jar.addCookieToPool("a=1", "h.com", "/p");
    jar.getCookieFromPool("http://h.com/p");
    EXPECT_EQ(
        log.messages("CHttpCookie.cpp"),
        (std::vector<std::string>{"addCookieToPool a=1, h.com, /p", "getCookieFromPool start >>>",
                                  "<<< getCookieFromPool end"}));
    EXPECT_EQ(log.lines().front().priority, 4);
    EXPECT_EQ(log.lines().front().function, "addCookieToPool");
}

} // namespace
