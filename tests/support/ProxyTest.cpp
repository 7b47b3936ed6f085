#include <support/FaultOrigin.h>
#include <support/Fetch.h>
#include <support/Proxy.h>

#include <gtest/gtest.h>

TEST(Proxy, ForwardsAndLogsRequests) {
    const test::Proxy proxy;
    test::FaultOrigin origin;
    origin.on("/p", test::Reply().body("through"));
    EXPECT_EQ(proxy.requests(), 0);
    const test::Fetched got = test::fetch(origin.url("/p"), [&](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_PROXY, proxy.url().c_str());
        curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
    });
    EXPECT_EQ(got.body, "through");
    EXPECT_NE(origin.requests("/p").at(0).header("Via"), "");
    EXPECT_EQ(proxy.requests(), 1) << proxy.log();
    EXPECT_NE(proxy.log().find(origin.url("/p")), std::string::npos) << proxy.log();
}
