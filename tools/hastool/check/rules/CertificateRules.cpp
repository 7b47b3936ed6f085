#include <hastool/check/RuleFamilies.h>

#include <cmath>
#include <cstdio>

namespace hastool {
namespace {

constexpr double kSoon = 14; // days

/// A rule about each server's certificate by itself.
class CertificateRule : public Rule {
public:
    explicit CertificateRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const override { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (const ServerCertificate& it : evidence.certificates) {
            if (it.failure.empty() && isBroken(it))
                findings.add(m_card, {{}, {}, it.host + ":" + std::to_string(it.port)}, textOf(it));
        }
    }

protected:
    virtual bool isBroken(const ServerCertificate& it) const = 0;
    virtual std::string textOf(const ServerCertificate& it) const { return it.verifyResult; }

    static std::string days(double count) {
        char text[48];
        std::snprintf(text, sizeof text, "%.1f days", std::abs(count));
        return text;
    }

private:
    const RuleCard& m_card;
};

class TlsExpired final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-expired", Severity::Error, "RFC 5280, 4.1.2.5", "The server's certificate has expired",
        "Players and browsers refuse the server. Renew the certificate, best by a timer."};
    TlsExpired()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override { return it.isExpired; }
    std::string textOf(const ServerCertificate& it) const override {
        return it.daysLeft < 0 ? "it ended " + days(it.daysLeft) + " ago" : it.verifyResult;
    }
};

class TlsNotYetValid final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-not-yet-valid", Severity::Error, "RFC 5280, 4.1.2.5",
        "The server's certificate is not valid yet",
        "Players and browsers refuse the server. Its clock, or that of whoever made the "
        "certificate, may be wrong."};
    TlsNotYetValid()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override { return it.isNotYetValid; }
};

class TlsEndsSoon final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-ends-soon", Severity::Warning, "RFC 5280, 4.1.2.5",
        "The server's certificate ends within 14 days",
        "Then players and browsers refuse the server. Renew the certificate, best by a timer."};
    TlsEndsSoon()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override {
        return !it.isExpired && it.daysLeft < kSoon;
    }
    std::string textOf(const ServerCertificate& it) const override {
        return "it ends in " + days(it.daysLeft);
    }
};

class TlsHostName final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-host-name", Severity::Error, "RFC 6125, 6",
        "The server's certificate names other hosts",
        "Players and browsers refuse the server. The certificate's subjectAltName has to name the "
        "host that manifests and playlists name."};
    TlsHostName()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override { return !it.namesHost; }
    std::string textOf(const ServerCertificate& it) const override {
        return "none of its names is " + it.host;
    }
};

class TlsIntermediate final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-intermediate", Severity::Error, "RFC 8446, 4.4.2",
        "The server does not send the certificates between its own and a root",
        "Browsers that have met the issuer before accept it, while players and set-top boxes "
        "cannot build the chain and refuse it. Send the whole chain but the root."};
    TlsIntermediate()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override { return it.lacksIntermediate; }
};

class TlsSelfSigned final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-self-signed", Severity::Warning, "RFC 5280, 6.1",
        "The server's certificate is signed by itself",
        "Players and browsers refuse the server unless they were told to trust this certificate. "
        "Have one signed by an authority that they trust."};
    TlsSelfSigned()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override {
        return it.isSelfSigned && !it.verifyResult.empty();
    }
};

class TlsUntrusted final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-untrusted", Severity::Note, "RFC 5280, 6.1",
        "The server's certificate leads to a root that is not trusted here",
        "Where viewers do not trust this root either, their players refuse the server. With a root "
        "of one's own, name it to this tool (--cacert)."};
    TlsUntrusted()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override {
        const bool isTold =
            it.isExpired || it.isNotYetValid || it.lacksIntermediate || it.isSelfSigned || it.isBad;
        return !it.verifyResult.empty() && !isTold;
    }
};

class TlsBad final : public CertificateRule {
public:
    static constexpr RuleCard kCard{
        "tls-bad", Severity::Warning, "RFC 5280, 6.1",
        "The server's chain of certificates cannot be verified",
        "Players and browsers that look closely refuse the server. Have the certificate renewed, "
        "and send the chain that belongs to it."};
    TlsBad()
        : CertificateRule(kCard) {}

private:
    bool isBroken(const ServerCertificate& it) const override { return it.isBad; }
};

} // namespace

void addCertificateRules(Rules& rules) {
    rules.push_back(std::make_unique<TlsExpired>());
    rules.push_back(std::make_unique<TlsNotYetValid>());
    rules.push_back(std::make_unique<TlsEndsSoon>());
    rules.push_back(std::make_unique<TlsHostName>());
    rules.push_back(std::make_unique<TlsIntermediate>());
    rules.push_back(std::make_unique<TlsSelfSigned>());
    rules.push_back(std::make_unique<TlsUntrusted>());
    rules.push_back(std::make_unique<TlsBad>());
}

} // namespace hastool
