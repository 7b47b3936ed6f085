#include <Hascommon/detail/PlainUrl.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include <curl/curl.h>

namespace {

using hascommon::detail::readPlainUrl;

/// libcurl's reading of a URL.
class Peer {
public:
    explicit Peer(const std::string& text)
        : m_valid(curl_url_set(m_url.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK) {}

    bool isValid() const { return m_valid; }
    std::string get(CURLUPart part) const {
        char* text = nullptr;
        if (curl_url_get(m_url.get(), part, &text, CURLU_NO_DEFAULT_PORT) != CURLUE_OK)
            return {};
        const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
        return text;
    }

private:
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> m_url{curl_url(), curl_url_cleanup};
    const bool m_valid;
};

void expectLikePeer(const std::string& text) {
    const auto plain = readPlainUrl(text);
    if (!plain)
        return;
    const Peer peer(text);
    ASSERT_TRUE(peer.isValid()) << text;
    EXPECT_EQ(peer.get(CURLUPART_URL), text);
    EXPECT_EQ(peer.get(CURLUPART_SCHEME), plain->scheme) << text;
    EXPECT_EQ(peer.get(CURLUPART_HOST), plain->host) << text;
    EXPECT_EQ(peer.get(CURLUPART_PORT), plain->port) << text;
    EXPECT_EQ(peer.get(CURLUPART_PATH), plain->path) << text;
    EXPECT_EQ(peer.get(CURLUPART_QUERY), plain->query) << text;
}

TEST(PlainUrl, TakesAUrlApart) {
    const auto url = readPlainUrl("https://cdn-1.example.com:8443/live/a_b/720p/1.m4s?t=1&u=a/b?c");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme, "https");
    EXPECT_EQ(url->host, "cdn-1.example.com");
    EXPECT_EQ(url->port, "8443");
    EXPECT_EQ(url->path, "/live/a_b/720p/1.m4s");
    EXPECT_EQ(url->query, "t=1&u=a/b?c");
}

TEST(PlainUrl, TakesWhatMediaHave) {
    for (const char* text : {"http://127.0.0.1:8080/small", "http://h/", "https://a.b/c(1)!$&,;=~",
                             "http://0.0.0.255/x", "http://xn--bcher-kva.example/"})
        EXPECT_TRUE(readPlainUrl(text)) << text;
}

TEST(PlainUrl, LeavesEveryOtherToTheParser) {
    for (const char* text : {"",
                             "http",
                             "http://",
                             "http://h",
                             "http:///",
                             "HTTP://h/",
                             "ftp://h/",
                             "http:/h/",
                             "http://H/",
                             "http://h:80/",
                             "https://h:443/",
                             "http://h:/",
                             "http://h:08/",
                             "http://h:65536/",
                             "http://h:0/",
                             "http://u@h/",
                             "http://h./",
                             "http://a..b/",
                             "http://[::1]/",
                             "http://127.1/",
                             "http://0x7f.0.0.1/",
                             "http://127.0.0.01/",
                             "http://256.0.0.1/",
                             "http://1.2.3.4.5/",
                             "http://1.2.3/",
                             "http://1host/",
                             "http://-h/",
                             "http://h/./a",
                             "http://h/a/../b",
                             "http://h/..",
                             "http://h/%41",
                             "http://h/a b",
                             "http://h/a#b",
                             "http://h/?",
                             "http://h/\\a",
                             "http://h/a\"",
                             "http://h/a'b",
                             "http://h/\xC3\xA4",
                             "http://\xC3\xA4/",
                             "http://h/a\n",
                             " http://h/",
                             "http://h|i/",
                             "http://h?a/b",
                             "http://h/a?b#c",
                             "http://h/[a]",
                             "http://h/{a}",
                             "http://h/?a=<b>"})
        EXPECT_FALSE(readPlainUrl(text)) << text;
    EXPECT_FALSE(readPlainUrl({"http://h/a\0b", 12}));
}

TEST(PlainUrl, IsReadAsLibcurlReadsIt) {
    for (const std::string scheme : {"http", "https"})
        for (const std::string host :
             {"h", "example.com", "10.0.0.1", "a1.b-2.c", "e", "ffff", "x0.1", "a-", "c_d"})
            for (const std::string port : {"", ":1", ":80", ":443", ":8080", ":65535", ":99999"})
                for (const std::string path : {"/", "//", "/a/b", "/a.b/c..d", "/a..", "/a/.b",
                                               "/:@", "/(x)", "/a;b=c", "/a*b+c,d"})
                    for (const std::string query : {"", "?", "?a=b", "?a=b?c", "?/..", "?a=/./b"})
                        expectLikePeer(scheme + "://" + host + port + path + query);
}

TEST(PlainUrl, EveryCharacterIsReadAsLibcurlReadsIt) {
    for (int c = 1; c < 256; ++c) {
        const std::string byte(1, static_cast<char>(c));
        for (const std::string& text :
             {"http://a" + byte + "b/c?d", "http://a/b" + byte + "c?d", "http://a/b?c" + byte + "d",
              "http://a/" + byte, "http://" + byte + "a/", "http://a" + byte + "/"})
            expectLikePeer(text);
    }
}

} // namespace
