#include <support/CookieJar.h>

#include <gtest/gtest.h>

#include <limits>

#include <curl/curl.h>

namespace {

using test::OwnList;
using test::text;

/// One header parsed into an empty list.
class CookieHeader : public testing::Test {
protected:
    const hascommon::Cookie& parse(const std::string& line, const char* domain = nullptr,
                                   const char* path = nullptr) {
        static const hascommon::Cookie none{};
        hascommon::CHttpCookie::freeCookieList(list.head);
        list.head = nullptr;
        const bool added = list.addHeader(line, domain, path);
        EXPECT_EQ(added, list.head != nullptr);
        return list.head == nullptr ? none : *list.head;
    }
    bool isRejected(const std::string& line, const char* domain = nullptr,
                    const char* path = nullptr) {
        return parse(line, domain, path).name == nullptr;
    }

    OwnList list;
};

TEST_F(CookieHeader, PlainPairHasNothingElse) {
    const hascommon::Cookie& cookie = parse("a=1");
    EXPECT_EQ(text(cookie.name), "a");
    EXPECT_EQ(text(cookie.value), "1");
    EXPECT_EQ(cookie.next, nullptr);
    for (const char* field : {cookie.path, cookie.spath, cookie.domain, cookie.expirestr,
                              cookie.version, cookie.maxage})
        EXPECT_EQ(field, nullptr);
    EXPECT_EQ(cookie.expires, 0);
    EXPECT_FALSE(cookie.tailmatch || cookie.secure || cookie.livecookie || cookie.httponly);
}

TEST_F(CookieHeader, AllAttributesAreKept) {
    const hascommon::Cookie& cookie =
        parse("a=1; Path=\"/x/\"; DOMAIN=.example.com; version=7; Secure; HttpOnly",
              "www.example.com", "/y/z");
    EXPECT_EQ(text(cookie.path), "\"/x/\"");
    EXPECT_EQ(text(cookie.spath), "/x");
    EXPECT_EQ(text(cookie.domain), "example.com");
    EXPECT_EQ(text(cookie.version), "7");
    EXPECT_TRUE(cookie.tailmatch);
    EXPECT_TRUE(cookie.secure);
    EXPECT_TRUE(cookie.httponly);
    EXPECT_FALSE(cookie.livecookie);
}

TEST_F(CookieHeader, LeadingSpacesAreSkippedAndValuesTrimmed) {
    const hascommon::Cookie& cookie = parse("   a=  b c  ;   path=  /p  ");
    EXPECT_EQ(text(cookie.name), "a");
    EXPECT_EQ(text(cookie.value), "b c");
    EXPECT_EQ(text(cookie.path), "/p");
}

TEST_F(CookieHeader, OnlyTheSpaceCharacterIsBlank) {
    EXPECT_EQ(text(parse("\ta=\tb\t").name), "\ta");
    EXPECT_EQ(text(parse("a=\tb\t").value), "\tb\t");
}

TEST_F(CookieHeader, ValueEndsAtALineEnd) {
    EXPECT_EQ(text(parse("a=1\r\n").value), "1");
    EXPECT_EQ(text(parse("a=1\nb=2;c=3").value), "1");
    EXPECT_EQ(text(parse("a=b=c").value), "b=c");
}

TEST_F(CookieHeader, EmptyValueIsAValue) {
    EXPECT_EQ(text(parse("a=").value), "");
    EXPECT_EQ(text(parse("a=; b=1").name), "a");
}

TEST_F(CookieHeader, WithoutANameItIsRejected) {
    for (const char* line : {"", ";", ";;;", "novalue", "=1", "path=/", "secure", " ", "a =1",
                             "novalue; domain=x", "secure=1", "\r\n"})
        EXPECT_TRUE(isRejected(line)) << line;
}

TEST_F(CookieHeader, FirstPairWins) {
    const hascommon::Cookie& cookie = parse("path=/x; a=1; b=2; a=3");
    EXPECT_EQ(text(cookie.name), "a");
    EXPECT_EQ(text(cookie.value), "1");
    EXPECT_EQ(text(cookie.path), "/x");
}

TEST_F(CookieHeader, FlagsNeedNoValueAndMayHaveOne) {
    EXPECT_TRUE(parse("a=1; SECURE").secure);
    EXPECT_TRUE(parse("a=1; secure=no").secure);
    EXPECT_TRUE(parse("a=1; secure ").secure);
    EXPECT_TRUE(parse("a=1; httpONLY=").httponly);
    EXPECT_FALSE(parse("a=1; secured").secure);
}

TEST_F(CookieHeader, UnknownPartsAreIgnored) {
    EXPECT_EQ(text(parse("junk; a=1; SameSite=Lax; x").name), "a");
}

TEST_F(CookieHeader, TwoPathsRejectTheCookie) {
    EXPECT_TRUE(isRejected("a=1; path=/x; path=/x"));
    EXPECT_TRUE(isRejected("path=; path=; a=1"));
}

TEST_F(CookieHeader, PathIsTakenFromTheRequestUpToItsLastSlash) {
    EXPECT_EQ(text(parse("a=1", "h", "/a/b/c").path), "/a/b/");
    EXPECT_EQ(text(parse("a=1", "h", "/a/b/c").spath), "/a/b");
    EXPECT_EQ(text(parse("a=1", "h", "/a?x=/y/z").path), "/");
    EXPECT_EQ(text(parse("a=1", "h", "nopath").path), "(none)");
    EXPECT_EQ(text(parse("a=1", "h", "").path), "(none)");
    EXPECT_EQ(text(parse("a=1; path=/q", "h", "/a/b").path), "/q");
}

TEST_F(CookieHeader, DomainIsTakenFromTheRequestWithoutSubdomains) {
    const hascommon::Cookie& cookie = parse("a=1", "www.example.com", "/");
    EXPECT_EQ(text(cookie.domain), "www.example.com");
    EXPECT_FALSE(cookie.tailmatch);
}

TEST_F(CookieHeader, DomainOfAnotherSiteRejectsTheCookie) {
    EXPECT_TRUE(isRejected("a=1; domain=other.com", "www.example.com"));
    EXPECT_TRUE(isRejected("a=1; domain=ample.com", "www.example.com"));
    EXPECT_TRUE(isRejected("a=1; domain=x.www.example.com", "www.example.com"));
    EXPECT_TRUE(isRejected("a=1; domain=", "www.example.com"));
    EXPECT_TRUE(isRejected("a=1; domain=other.com; domain=example.com", "www.example.com"));
    EXPECT_FALSE(isRejected("a=1; domain=EXAMPLE.com", "www.example.com"));
    EXPECT_FALSE(isRejected("a=1; domain=.www.example.com", "www.example.com"));
}

TEST_F(CookieHeader, OnlyOneLeadingDotOfADomainIsDropped) {
    EXPECT_EQ(text(parse("a=1; domain=..com").domain), ".com");
    EXPECT_TRUE(isRejected("a=1; domain=..com", "www.example.com"));
}

TEST_F(CookieHeader, WithoutARequestAnyDomainIsTaken) {
    const hascommon::Cookie& cookie = parse("a=1; domain=any.com");
    EXPECT_EQ(text(cookie.domain), "any.com");
    EXPECT_TRUE(cookie.tailmatch);
}

TEST_F(CookieHeader, MaxAgeCountsFromNow) {
    const long long before = list.now();
    const hascommon::Cookie& cookie = parse("a=1; Max-Age=100");
    EXPECT_EQ(text(cookie.maxage), "100");
    EXPECT_GE(cookie.expires, before + 100);
    EXPECT_LE(cookie.expires, list.now() + 100);
}

TEST_F(CookieHeader, MaxAgeMayBeQuotedNegativeOrNoNumber) {
    const long long before = list.now();
    EXPECT_GE(parse("a=1; max-age=\"100\"").expires, before + 100);
    EXPECT_LE(parse("a=1; max-age=-1").expires, list.now() - 1);
    EXPECT_LE(parse("a=1; max-age=soon").expires, list.now());
    EXPECT_GE(parse("a=1; max-age=").expires, before);
}

TEST_F(CookieHeader, MaxAgeBeyondTheClockIsTheEndOfTime) {
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(parse("a=1; max-age=9223372036854775807").expires, kMax);
    EXPECT_EQ(parse("a=1; max-age=" + std::string(100, '9')).expires, kMax);
    EXPECT_LT(parse("a=1; max-age=-" + std::string(100, '9')).expires, 0);
}

TEST_F(CookieHeader, ExpiresIsReadAsADate) {
    const hascommon::Cookie& cookie = parse("a=1; Expires=Wed, 09 Jun 2027 10:18:14 GMT");
    EXPECT_EQ(cookie.expires, 1812536294);
    EXPECT_EQ(text(cookie.expirestr), "Wed, 09 Jun 2027 10:18:14 GMT");
}

TEST_F(CookieHeader, ExpiresAtTheBeginningOfTimeIsExpired) {
    EXPECT_EQ(parse("a=1; expires=Thu, 01 Jan 1970 00:00:00 GMT").expires, 1);
}

TEST_F(CookieHeader, ExpiresThatIsNoDateLeavesASessionCookie) {
    EXPECT_EQ(parse("a=1; expires=whenever").expires, 0);
    EXPECT_EQ(parse("a=1; expires=").expires, 0);
    EXPECT_EQ(parse("a=1; max-age=100; expires=whenever").expires, 0);
}

TEST_F(CookieHeader, LaterOfMaxAgeAndExpiresWins) {
    const std::string date = "expires=Wed, 09 Jun 2027 10:18:14 GMT";
    EXPECT_EQ(parse("a=1; max-age=1; " + date).expires, 1812536294);
    EXPECT_LT(parse("a=1; " + date + "; max-age=1").expires, 1812536294);
}

TEST_F(CookieHeader, LongNamesAreIgnoredAndLongValuesCut) {
    const std::string longest(1023, 'n');
    EXPECT_EQ(text(parse(longest + "=1").name), longest);
    EXPECT_EQ(text(parse(longest + "n=1; b=2").name), "b");
    EXPECT_EQ(text(parse("a=" + std::string(4999, 'v')).value), std::string(4999, 'v'));
    EXPECT_EQ(text(parse("a=" + std::string(6000, 'v') + "; path=/p").value),
              std::string(4999, 'v'));
    EXPECT_EQ(text(list.head->path), "/p");
    EXPECT_TRUE(isRejected(std::string(1000000, ';')));
}

TEST_F(CookieHeader, LiveMarkIsNeverSet) {
    EXPECT_FALSE(parse("a=1; livecookie; live=1").livecookie);
}

TEST(CookieMerge, SameCookieTakesTheOldOnesPlace) {
    OwnList list;
    list.addHeader("a=1; domain=h.com; path=/x");
    list.addHeader("b=2; domain=h.com; path=/x");
    list.addHeader("c=3; domain=h.com; path=/x");
    EXPECT_TRUE(list.addHeader("B=4; domain=H.COM; path=/X/; secure"));
    EXPECT_EQ(list.names(), "a B c ");
    EXPECT_EQ(text(list.head->next->value), "4");
    EXPECT_TRUE(list.head->next->secure);
    EXPECT_EQ(text(list.head->next->path), "/X/");
}

TEST(CookieMerge, AnotherNameDomainOrPathIsAnotherCookie) {
    OwnList list;
    list.addHeader("a=1; domain=h.com; path=/x");
    list.addHeader("b=1; domain=h.com; path=/x");
    list.addHeader("a=2; domain=i.com; path=/x");
    list.addHeader("a=3; domain=h.com; path=/y");
    list.addHeader("a=4; domain=h.com");
    list.addHeader("a=5; path=/x");
    list.addHeader("a=6");
    EXPECT_EQ(list.names(), "a b a a a a a ");
    list.addHeader("a=7");
    list.addHeader("a=8; domain=h.com");
    EXPECT_EQ(list.names(), "a b a a a a a ");
}

TEST(CookieMerge, ALiveCookieIsReplacedByALiveOneOnly) {
    OwnList list;
    list.addHeader("a=1");
    list.head->livecookie = true;
    EXPECT_FALSE(list.addHeader("a=2"));
    EXPECT_EQ(text(list.head->value), "1");
    list.head->livecookie = false;
    EXPECT_TRUE(list.addHeader("a=2"));
    EXPECT_EQ(text(list.head->value), "2");
}

TEST(CookieMerge, ANullLineAddsNothing) {
    OwnList list;
    hascommon::CHttpCookie jar;
    EXPECT_FALSE(jar.addCookieEntryToList(list.head, true, nullptr, nullptr, nullptr));
    EXPECT_EQ(list.head, nullptr);
}

} // namespace
