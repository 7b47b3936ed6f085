// Real handshakes with servers whose certificates are right and wrong.
#include "TlsPeer.h"

#include <hastool/check/CertificateProbe.h>
#include <hastool/check/Rule.h>

#include <support/FreePort.h>
#include <support/SilentPort.h>
#include <support/TempDir.h>

#include <set>

#include <gtest/gtest.h>

namespace {

using namespace hastool;
using test::TestCertificate;
using test::TlsPeer;
using Codes = std::set<std::string>;

constexpr std::chrono::seconds kLong{60};
constexpr char kNames[] = "DNS:media.test,IP:127.0.0.1";

/// A root that the probe trusts, and one between it and the servers.
class CertificateProbe : public testing::Test {
protected:
    CertificateProbe()
        : m_root({"Root", "", true}, nullptr)
        , m_between({"Between", "", true}, &m_root) {
        m_root.write(rootFile());
    }

    std::string rootFile() const { return (m_folder.path() / "root.pem").string(); }
    TestCertificate leaf(const std::string& names = kNames, int fromDay = -1,
                         int toDay = 365) const {
        return TestCertificate({"Server", names, false, fromDay, toDay}, &m_between);
    }
    ServerCertificate probe(const TlsPeer& peer) const {
        return probeCertificate({"127.0.0.1", peer.port()}, rootFile(), kLong);
    }

    test::TempDir m_folder;
    TestCertificate m_root;
    TestCertificate m_between;
};

Codes codesOf(const ServerCertificate& certificate) {
    Evidence evidence;
    evidence.renditions.emplace_back(); // there is something to play
    evidence.renditions.back().segments.emplace_back();
    evidence.certificates.push_back(certificate);
    Codes codes;
    const Findings findings = judge(evidence);
    for (const Finding& it : findings.all())
        codes.insert(it.rule->code);
    return codes;
}

TEST_F(CertificateProbe, FindsNothingWrongWithAGoodChain) {
    const TestCertificate server = leaf();
    const TlsPeer peer(server, {&m_between});
    const ServerCertificate result = probe(peer);
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(result.verifyResult, "");
    EXPECT_TRUE(result.namesHost);
    EXPECT_NEAR(result.daysLeft, 365, 0.1);
    EXPECT_EQ(codesOf(result), Codes());
}

TEST_F(CertificateProbe, TellsThatItExpired) {
    const TestCertificate server = leaf(kNames, -30, -3);
    const TlsPeer peer(server, {&m_between});
    const ServerCertificate result = probe(peer);
    EXPECT_TRUE(result.isExpired);
    EXPECT_NEAR(result.daysLeft, -3, 0.1);
    EXPECT_EQ(codesOf(result), Codes{"tls-expired"});
}

TEST_F(CertificateProbe, TellsThatItsIssuerExpired) {
    const TestCertificate old({"Old", "", true, -30, -3}, &m_root);
    const TestCertificate server({"Server", kNames}, &old);
    const TlsPeer peer(server, {&old});
    const ServerCertificate result = probe(peer);
    EXPECT_TRUE(result.isExpired);
    EXPECT_EQ(codesOf(result), Codes{"tls-expired"});
}

TEST_F(CertificateProbe, TellsThatItIsNotValidYet) {
    const TestCertificate server = leaf(kNames, 3);
    const TlsPeer peer(server, {&m_between});
    EXPECT_EQ(codesOf(probe(peer)), Codes{"tls-not-yet-valid"});
}

TEST_F(CertificateProbe, TellsThatItEndsSoon) {
    const TestCertificate soon = leaf(kNames, -1, 13);
    EXPECT_EQ(codesOf(probe(TlsPeer(soon, {&m_between}))), Codes{"tls-ends-soon"});
    const TestCertificate later = leaf(kNames, -1, 15);
    EXPECT_EQ(codesOf(probe(TlsPeer(later, {&m_between}))), Codes());
}

TEST_F(CertificateProbe, TellsThatAnIntermediateIsMissing) {
    const TestCertificate server = leaf();
    const TlsPeer peer(server);
    const ServerCertificate result = probe(peer);
    EXPECT_TRUE(result.lacksIntermediate);
    EXPECT_NE(result.verifyResult, "");
    EXPECT_EQ(codesOf(result), Codes{"tls-intermediate"});
}

TEST_F(CertificateProbe, TellsThatItNamesAnotherHost) {
    const TestCertificate server = leaf("DNS:other.test,IP:127.0.0.2");
    const TlsPeer peer(server, {&m_between});
    const ServerCertificate result = probe(peer);
    EXPECT_FALSE(result.namesHost);
    EXPECT_EQ(codesOf(result), Codes{"tls-host-name"});
}

TEST_F(CertificateProbe, ComparesNames) {
    const TestCertificate server = leaf("DNS:localhost");
    const TlsPeer peer(server, {&m_between});
    EXPECT_TRUE(probeCertificate({"localhost", peer.port()}, rootFile(), kLong).namesHost);
    EXPECT_FALSE(probe(peer).namesHost);
}

TEST_F(CertificateProbe, TellsThatItSignedItself) {
    const TestCertificate server({"Server", kNames}, nullptr);
    const TlsPeer peer(server);
    EXPECT_EQ(codesOf(probe(peer)), Codes{"tls-self-signed"});
}

TEST_F(CertificateProbe, TellsThatTheRootIsNotTrusted) {
    const TestCertificate root({"Another", "", true}, nullptr);
    const TestCertificate between({"Its", "", true}, &root);
    const TestCertificate server({"Server", kNames}, &between);
    EXPECT_EQ(codesOf(probe(TlsPeer(server, {&between, &root}))), Codes{"tls-untrusted"});
    EXPECT_EQ(codesOf(probe(TlsPeer(server, {&between}))), Codes{"tls-untrusted"})
        << "a root need not be sent";
}

TEST_F(CertificateProbe, TellsThatTheChainIsBad) {
    const TestCertificate notOne({"Between", "", false}, &m_root); // is no authority
    const TestCertificate server({"Server", kNames}, &notOne);
    const TlsPeer peer(server, {&notOne});
    const ServerCertificate result = probe(peer);
    EXPECT_TRUE(result.isBad) << result.verifyResult;
    EXPECT_EQ(codesOf(result), Codes{"tls-bad"});
}

TEST_F(CertificateProbe, GivesUpInTime) {
    const test::SilentPort silent;
    const auto begin = std::chrono::steady_clock::now();
    const ServerCertificate result =
        probeCertificate({"127.0.0.1", silent.port()}, rootFile(), std::chrono::milliseconds(100));
    EXPECT_NE(result.failure.find("time-out"), std::string::npos) << result.failure;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kLong);
    EXPECT_EQ(codesOf(result), Codes());
}

TEST_F(CertificateProbe, TellsThatNobodyAnswers) {
    const ServerCertificate result =
        probeCertificate({"127.0.0.1", test::freePort()}, rootFile(), kLong);
    EXPECT_NE(result.failure, "");
    EXPECT_EQ(codesOf(result), Codes());
}

TEST_F(CertificateProbe, TellsThatItsOwnRootsCannotBeRead) {
    const ServerCertificate result = probeCertificate({"127.0.0.1", 1}, rootFile() + ".not", kLong);
    EXPECT_NE(result.failure.find("the trusted certificates cannot be read"), std::string::npos)
        << result.failure;
}

} // namespace
