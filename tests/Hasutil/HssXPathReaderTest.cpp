#include <Hasutil/HssXPathReader.h>
#include <support/ExactBytes.h>
#include <support/LogCapture.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using hascommon::HssXPathReader;
using test::ExactBytes;

constexpr const char* kManifest = R"(<?xml version="1.0"?>
<SmoothStreamingMedia MajorVersion="2" Duration="300">
  <StreamIndex Type="video" Name="first"><c d="10"/><c d="20"/></StreamIndex>
  <StreamIndex Type="audio" Name=""><c d="30"/></StreamIndex>
  <n>42</n><n>43</n>
  <f>1.5</f><neg> -7 </neg><big>3000000000</big><word>abc</word>
  <yes>TRUE</yes><no>true </no><one>1</one>
  <raw><![CDATA[<a> & b]]></raw>
  <mixed>a<sub>x</sub>b</mixed>
  <empty></empty>
</SmoothStreamingMedia>)";

bool load(HssXPathReader& reader, const std::string& text) {
    const ExactBytes bytes(text); // exactly so many, no terminator
    return reader.Load(reinterpret_cast<const char*>(bytes.data()), bytes.intSize());
}

/// A reader with a document.
class Loaded : public HssXPathReader {
public:
    explicit Loaded(const std::string& text = kManifest) {
        EXPECT_FALSE(load(*this, text));
        EXPECT_TRUE(IsLoaded());
    }
};

/// libxml2 set up for the whole of each test.
class XPathReader : public testing::Test {
protected:
    void SetUp() override { HssXPathReader::InitLibXML(); }
    void TearDown() override { HssXPathReader::FreeLibXML(); }
};

TEST(XPathReaderInit, CountsTheCallsThatAreNotMatched) {
    const unsigned int before = HssXPathReader::m_isInit;
    HssXPathReader::InitLibXML();
    HssXPathReader::InitLibXML();
    EXPECT_EQ(HssXPathReader::m_isInit, before + 2);
    HssXPathReader::FreeLibXML();
    EXPECT_EQ(HssXPathReader::m_isInit, before + 1);
    HssXPathReader::FreeLibXML();
    EXPECT_EQ(HssXPathReader::m_isInit, before);
}

TEST(XPathReaderInit, AFreeTooManyWrapsTheCount) {
    ASSERT_EQ(HssXPathReader::m_isInit, 0U);
    HssXPathReader::FreeLibXML();
    EXPECT_EQ(HssXPathReader::m_isInit, UINT_MAX);
    HssXPathReader::InitLibXML();
    EXPECT_EQ(HssXPathReader::m_isInit, 0U);
}

TEST(XPathReaderInit, LibXmlCanBeSetUpAgainAfterItWasTornDown) {
    for (int i = 0; i < 3; ++i) {
        HssXPathReader::InitLibXML();
        {
            Loaded reader;
            EXPECT_EQ(reader.GetXmlParamInt("//n/text()"), 42);
        }
        HssXPathReader::FreeLibXML();
    }
}

TEST_F(XPathReader, StartsWithoutADocument) {
    HssXPathReader reader;
    EXPECT_FALSE(reader.IsLoaded());
    EXPECT_EQ(reader.GetDocument(), nullptr);
}

void expectEmptyAnswers(HssXPathReader& reader) {
    EXPECT_EQ(reader.GetXmlParamStr("//n/text()"), "");
    EXPECT_EQ(reader.GetXmlParamAttr("//c", "d"), "");
    EXPECT_EQ(reader.GetXmlParamInt("//n/text()"), 0);
    EXPECT_EQ(reader.GetXmlParamFloat("//n/text()"), 0.0);
    EXPECT_FALSE(reader.GetXmlParamBool("//yes/text()"));
    EXPECT_EQ(reader.GetXmlParamKBps("//n/text()"), 0);
}

TEST_F(XPathReader, WithoutADocumentEveryAnswerIsEmpty) {
    HssXPathReader reader;
    expectEmptyAnswers(reader);
}

TEST_F(XPathReader, AFirstLoadAnswersFalseAndLoads) {
    HssXPathReader reader;
    EXPECT_FALSE(load(reader, kManifest));
    EXPECT_TRUE(reader.IsLoaded());
    ASSERT_NE(reader.GetDocument(), nullptr);
    EXPECT_STREQ(reinterpret_cast<const char*>(xmlDocGetRootElement(reader.GetDocument())->name),
                 "SmoothStreamingMedia");
}

TEST_F(XPathReader, ASecondLoadAnswersTrueAndKeepsTheFirst) {
    Loaded reader("<a><n>1</n></a>");
    EXPECT_TRUE(load(reader, "<a><n>2</n></a>"));
    EXPECT_TRUE(reader.Load("no such file"));
    EXPECT_EQ(reader.GetXmlParamInt("//n/text()"), 1);
}

TEST_F(XPathReader, AfterFreeAnotherDocumentMayBeLoaded) {
    Loaded reader("<a><n>1</n></a>");
    reader.Free();
    EXPECT_FALSE(reader.IsLoaded());
    EXPECT_EQ(reader.GetDocument(), nullptr);
    expectEmptyAnswers(reader);
    EXPECT_FALSE(load(reader, "<a><n>2</n></a>"));
    EXPECT_EQ(reader.GetXmlParamInt("//n/text()"), 2);
    reader.Free();
    reader.Free();
}

TEST_F(XPathReader, TextThatIsNotWellFormedLoadsNothing) {
    test::LogCapture log;
    testing::internal::CaptureStderr();
    for (const char* text : {"<a><b></a>", "<a", "a", "<a/><b/>", "<a>&undefined;</a>", "\xFF\xFE",
                             "<a b='1' b='2'/>"}) {
        HssXPathReader reader;
        EXPECT_FALSE(load(reader, text));
        EXPECT_FALSE(reader.IsLoaded()) << text;
        EXPECT_EQ(reader.GetDocument(), nullptr);
        expectEmptyAnswers(reader);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(XPathReader, AfterAFailedLoadAnotherMayFollow) {
    HssXPathReader reader;
    load(reader, "<a>");
    EXPECT_FALSE(load(reader, "<a><n>2</n></a>"));
    EXPECT_EQ(reader.GetXmlParamInt("//n/text()"), 2);
}

TEST_F(XPathReader, NoBytesLoadNothing) {
    HssXPathReader reader;
    EXPECT_FALSE(reader.Load(nullptr, 10));
    EXPECT_FALSE(reader.Load(kManifest, 0));
    EXPECT_FALSE(reader.Load(kManifest, -1));
    EXPECT_FALSE(reader.Load(nullptr));
    EXPECT_FALSE(reader.IsLoaded());
}

TEST_F(XPathReader, LoadsAFile) {
    const test::TempDir folder;
    const std::string path = folder.write("manifest.xml", kManifest);
    HssXPathReader reader;
    EXPECT_FALSE(reader.Load(path.c_str()));
    EXPECT_TRUE(reader.IsLoaded());
    EXPECT_EQ(reader.GetXmlParamAttr("/SmoothStreamingMedia", "Duration"), "300");
}

TEST_F(XPathReader, AFileThatIsMissingLoadsNothing) {
    testing::internal::CaptureStderr();
    const test::TempDir folder;
    HssXPathReader reader;
    EXPECT_FALSE(reader.Load(folder.file("none.xml").c_str()));
    EXPECT_FALSE(reader.Load(folder.path().c_str()));
    EXPECT_FALSE(reader.Load(""));
    EXPECT_FALSE(reader.IsLoaded());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(XPathReader, TextOfTheFirstMatch) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamStr("//n/text()"), "42");
    EXPECT_EQ(reader.GetXmlParamStr("/SmoothStreamingMedia/n[2]/text()"), "43");
    EXPECT_EQ(reader.GetXmlParamStr("//mixed/text()"), "a");
    EXPECT_EQ(reader.GetXmlParamStr("//mixed/text()[2]"), "b");
}

TEST_F(XPathReader, TheFirstMatchIsThatOfTheDocumentsOrder) {
    Loaded reader("<a><n>1</n><m>2</m><n>3</n></a>");
    EXPECT_EQ(reader.GetXmlParamStr("//m/text() | //n/text()"), "1");
    EXPECT_EQ(reader.GetXmlParamStr("//n[2]/preceding-sibling::*/text()"), "1");
}

TEST_F(XPathReader, CdataIsText) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamStr("//raw/text()"), "<a> & b");
}

TEST_F(XPathReader, AnElementRatherThanItsTextIsEmpty) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamStr("//n"), "");
    EXPECT_EQ(reader.GetXmlParamStr("//empty/text()"), "");
    EXPECT_EQ(reader.GetXmlParamStr("/"), "");
    EXPECT_EQ(reader.GetXmlParamStr("//@Duration"), "");
    EXPECT_EQ(reader.GetXmlParamStr("//c/namespace::*"), "");
}

TEST_F(XPathReader, ResultsThatAreNoNodesAreEmpty) {
    Loaded reader;
    for (const char* xpath : {"count(//n)", "string(//n)", "1 = 1", "'text'", "//none/text()"}) {
        EXPECT_EQ(reader.GetXmlParamStr(xpath), "") << xpath;
        EXPECT_EQ(reader.GetXmlParamAttr(xpath, "d"), "") << xpath;
    }
}

TEST_F(XPathReader, MalformedExpressionsAreEmptyAndSilent) {
    test::LogCapture log;
    testing::internal::CaptureStderr();
    Loaded reader;
    for (const char* xpath : {"", "//", "//n[", "//p:n/text()", "nofunction()", "$v", "\xFF"}) {
        EXPECT_EQ(reader.GetXmlParamStr(xpath), "") << xpath;
        EXPECT_EQ(reader.GetXmlParamAttr(xpath, "d"), "") << xpath;
    }
    EXPECT_EQ(reader.GetXmlParamStr(nullptr), "");
    EXPECT_EQ(reader.GetXmlParamAttr(nullptr, "d"), "");
    EXPECT_EQ(reader.GetXmlParamStr("//n/text()"), "42"); // and the next one works
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(log.lines().empty());
}

void countMessage(void* count, const char*, ...) {
    ++*static_cast<int*>(count);
}

TEST_F(XPathReader, AnEmbeddersOwnMessageHandlerIsKept) {
    int messages = 0;
    xmlSetGenericErrorFunc(&messages, countMessage);
    Loaded reader;
    reader.GetXmlParamStr("nofunction()");
    EXPECT_EQ(messages, 0);
    xmlGenericError(xmlGenericErrorContext, "one");
    xmlSetGenericErrorFunc(nullptr, nullptr);
    EXPECT_EQ(messages, 1);
}

TEST_F(XPathReader, AttributeOfTheFirstElement) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamAttr("//StreamIndex[@Type='video']/c", "d"), "10");
    EXPECT_EQ(reader.GetXmlParamAttr("//StreamIndex[@Type='audio']/c", "d"), "30");
    EXPECT_EQ(reader.GetXmlParamAttr("//StreamIndex", "Name"), "first");
    EXPECT_EQ(reader.GetXmlParamAttr("//StreamIndex[2]", "Name"), "");
}

TEST_F(XPathReader, AMissingAttributeIsEmpty) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamAttr("//c", "none"), "");
    EXPECT_EQ(reader.GetXmlParamAttr("//c", nullptr), "");
    EXPECT_EQ(reader.GetXmlParamAttr("//c", ""), "");
    EXPECT_EQ(reader.GetXmlParamAttr("//none", "d"), "");
}

TEST_F(XPathReader, ReferencesInAttributesAreReplaced) {
    Loaded reader("<a b='a &amp; b &lt; c &#x41;&#66;&#10;end'/>");
    EXPECT_EQ(reader.GetXmlParamAttr("/a", "b"), "a & b < c AB\nend");
}

TEST_F(XPathReader, AttributesBelongToElementsOnly) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamAttr("//c/@d", "d"), "");
    EXPECT_EQ(reader.GetXmlParamAttr("//n/text()", "d"), "");
    EXPECT_EQ(reader.GetXmlParamAttr("/", "d"), "");
}

TEST_F(XPathReader, NumbersAndTruth) {
    Loaded reader;
    EXPECT_EQ(reader.GetXmlParamInt("//n/text()"), 42);
    EXPECT_EQ(reader.GetXmlParamInt("//neg/text()"), -7);
    EXPECT_EQ(reader.GetXmlParamInt("//f/text()"), 0);
    EXPECT_EQ(reader.GetXmlParamInt("//big/text()"), INT_MAX);
    EXPECT_EQ(reader.GetXmlParamInt("//word/text()"), 0);
    EXPECT_EQ(reader.GetXmlParamInt("//n"), 0);
    EXPECT_EQ(reader.GetXmlParamFloat("//f/text()"), 1.5);
    EXPECT_EQ(reader.GetXmlParamFloat("//word/text()"), 0.0);
    EXPECT_TRUE(reader.GetXmlParamBool("//yes/text()"));
    EXPECT_FALSE(reader.GetXmlParamBool("//no/text()")); // a blank behind it
    EXPECT_FALSE(reader.GetXmlParamBool("//one/text()"));
    EXPECT_FALSE(reader.GetXmlParamBool("//none/text()"));
}

TEST_F(XPathReader, KBpsIsNotScaled) {
    Loaded reader("<a><r>128000</r></a>");
    EXPECT_EQ(reader.GetXmlParamKBps("//r/text()"), 128000);
}

TEST_F(XPathReader, NamespacesAreNotRegistered) {
    Loaded reader("<m xmlns='urn:m' xmlns:p='urn:p'><p:n>1</p:n></m>");
    EXPECT_EQ(reader.GetXmlParamStr("/m/n/text()"), "");
    EXPECT_EQ(reader.GetXmlParamStr("/p:m"), "");
    EXPECT_EQ(reader.GetXmlParamStr("//*[local-name()='n']/text()"), "1");
}

TEST_F(XPathReader, QueriesRepeatAndDoNotLeak) {
    Loaded reader;
    for (int i = 0; i < 200; ++i) { // the sanitizer run counts
        EXPECT_EQ(reader.GetXmlParamAttr("//c", "d"), "10");
        EXPECT_EQ(reader.GetXmlParamStr("//n/text()"), "42");
        EXPECT_EQ(reader.GetXmlParamStr("//n["), "");
    }
}

TEST_F(XPathReader, TwoThreadsMayUseTwoReaders) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (int& count : wrong) {
        threads.emplace_back([&count] {
            for (int i = 0; i < 50; ++i) {
                HssXPathReader::InitLibXML();
                HssXPathReader reader;
                load(reader, kManifest);
                count += reader.GetXmlParamInt("//n/text()") != 42 ? 1 : 0;
                count += reader.GetXmlParamAttr("//c", "d") != "10" ? 1 : 0;
                count += reader.GetXmlParamStr("//n[").empty() ? 0 : 1;
                HssXPathReader::FreeLibXML();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

TEST_F(XPathReader, EntitiesOfTheDocumentItselfWork) {
    Loaded reader("<!DOCTYPE a [<!ENTITY who 'world'>]><a b='to &who;'>hello &who;</a>");
    EXPECT_EQ(reader.GetXmlParamAttr("/a", "b"), "to world");
    EXPECT_EQ(reader.GetXmlParamStr("/a/text()"), "hello "); // the reference is a node of its own
}

std::string nestedEntities(int levels, const std::string& use) {
    std::string text = "<!DOCTYPE r [<!ENTITY e0 'lol'>";
    for (int level = 1; level <= levels; ++level) {
        text += "<!ENTITY e" + std::to_string(level) + " '";
        for (int i = 0; i < 10; ++i)
            text += "&e" + std::to_string(level - 1) + ";";
        text += "'>";
    }
    return text + "]><r>" + use + "</r>";
}

double secondsOf(const std::chrono::steady_clock::time_point& start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(XPathReader, NestedEntitiesThatExplodeAreRefused) {
    const auto start = std::chrono::steady_clock::now();
    for (const char* use : {"<b>&e12;</b>", "<b a='&e12;'/>", "<b a='x&e12;'>&e12;</b>"}) {
        HssXPathReader reader;
        load(reader, nestedEntities(12, use));
        EXPECT_FALSE(reader.IsLoaded()) << use;
        expectEmptyAnswers(reader);
    }
    EXPECT_LT(secondsOf(start), 20.0);
}

TEST_F(XPathReader, ALongEntityNamedVeryOftenIsRefused) {
    const std::string entity = "<!DOCTYPE r [<!ENTITY e '" + std::string(100000, 'x') + "'>]><r>";
    for (const char* use : {"<b>&e;</b>", "<b a='&e;'/>"}) {
        std::string text = entity;
        for (int i = 0; i < 20000; ++i)
            text += use;
        HssXPathReader reader;
        load(reader, text + "</r>");
        EXPECT_FALSE(reader.IsLoaded()) << use;
    }
}

TEST_F(XPathReader, EntitiesWithinTheCapAreKept) {
    std::string text = "<!DOCTYPE r [<!ENTITY e '" + std::string(1000, 'x') + "'>]><r>";
    for (int i = 0; i < 1000; ++i)
        text += "<b a='&e;'/>";
    Loaded reader(text + "</r>");
    EXPECT_EQ(reader.GetXmlParamAttr("//b", "a"), std::string(1000, 'x'));
}

TEST_F(XPathReader, AnEntityThatContainsItselfIsRefused) {
    for (const char* text : {"<!DOCTYPE r [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><r>&a;</r>",
                             "<!DOCTYPE r [<!ENTITY a 'x&a;'>]><r b='&a;'/>"}) {
        HssXPathReader reader;
        load(reader, text);
        EXPECT_FALSE(reader.IsLoaded()) << text;
    }
}

TEST_F(XPathReader, ExternalEntitiesAreNotLoaded) {
    const test::TempDir folder;
    const std::string secret = folder.write("secret", "CONTENT");
    const std::string dtd = folder.write("a.dtd", "<!ENTITY fromdtd 'CONTENT'>");
    const std::string text = "<!DOCTYPE r SYSTEM '" + dtd + "' [<!ENTITY x SYSTEM '" + secret +
                             "'><!ENTITY % p SYSTEM '" + dtd +
                             "'>%p;]><r><b a='1'>&x;</b><c>&fromdtd;</c></r>";
    const std::string path = folder.write("manifest.xml", text);
    for (const bool fromFile : {false, true}) {
        HssXPathReader reader;
        fromFile ? reader.Load(path.c_str()) : load(reader, text);
        for (const char* query : {"//b/text()", "//c/text()", "//b/descendant::text()"})
            EXPECT_EQ(reader.GetXmlParamStr(query), "") << query;
        EXPECT_EQ(reader.GetXmlParamAttr("//*[contains(., 'CONTENT')]", "a"), "");
    }
}

/// A listening socket on the loopback interface.
class Listener {
public:
    Listener()
        : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(m_socket, 4), 0);
        EXPECT_EQ(getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
        m_url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/a.dtd";
    }
    ~Listener() { close(m_socket); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    const std::string& url() const { return m_url; }
    bool wasConnectedTo() const {
        const int connection = accept(m_socket, nullptr, nullptr);
        if (connection >= 0)
            close(connection);
        return connection >= 0;
    }

private:
    int m_socket;
    std::string m_url;
};

TEST_F(XPathReader, NothingIsFetchedFromTheNetwork) {
    const Listener listener;
    const std::string reference = "SYSTEM '" + listener.url() + "'";
    for (const std::string& text : {"<!DOCTYPE r " + reference + "><r/>",
                                    "<!DOCTYPE r [<!ENTITY x " + reference + ">]><r>&x;</r>",
                                    "<!DOCTYPE r [<!ENTITY % x " + reference + ">%x;]><r/>",
                                    "<?xml-stylesheet href='" + listener.url() + "'?><r/>"}) {
        HssXPathReader reader;
        load(reader, text);
        EXPECT_EQ(reader.GetXmlParamStr("//text()"), "");
        EXPECT_FALSE(listener.wasConnectedTo()) << text;
    }
}

TEST_F(XPathReader, VeryDeepDocumentsAreRefused) {
    std::string text;
    for (int i = 0; i < 100000; ++i)
        text += "<a>";
    HssXPathReader reader;
    load(reader, text);
    EXPECT_FALSE(reader.IsLoaded());
}

TEST_F(XPathReader, ADocumentOfFiftyMegabytesParses) {
    std::string text = "<r>";
    while (text.size() < 50000000)
        text += "<b a='1'>some text that a manifest could hold, and some more of it, "
                "so that there are not too many nodes for a small machine to build at once"
                "</b>\n";
    text += "<last>7</last></r>";
    HssXPathReader reader;
    EXPECT_FALSE(reader.Load(text.data(), static_cast<int>(text.size())));
    ASSERT_TRUE(reader.IsLoaded());
    EXPECT_EQ(reader.GetXmlParamInt("/r/last/text()"), 7);
}

TEST_F(XPathReader, AFileOfFiftyMegabytesParses) {
    const test::TempDir folder;
    std::string text = "<r>";
    while (text.size() < 50000000)
        text += "<b>" + std::string(100000, 'x') + "</b>";
    const std::string path = folder.write("big.xml", text + "<last>7</last></r>");
    HssXPathReader reader;
    reader.Load(path.c_str());
    ASSERT_TRUE(reader.IsLoaded());
    EXPECT_EQ(reader.GetXmlParamInt("/r/last/text()"), 7);
}

TEST_F(XPathReader, OneTextOfFiftyMegabytesParses) {
    const std::string text = "<r>" + std::string(50000000, 'x') + "</r>";
    HssXPathReader reader;
    reader.Load(text.data(), static_cast<int>(text.size()));
    ASSERT_TRUE(reader.IsLoaded());
    EXPECT_EQ(reader.GetXmlParamStr("/r/text()").size(), 50000000U);
}

} // namespace
