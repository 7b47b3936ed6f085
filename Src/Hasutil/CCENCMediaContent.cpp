#include <Hasutil/CCENCMediaContent.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/Base64.h>
#include <Hasutil/detail/ContentDescriptors.h>
#include <Hasutil/detail/DataOffset.h>
#include <Hasutil/detail/FragmentWalk.h>
#include <Hasutil/detail/SegmentRewriter.h>

using namespace hascommon::detail;

CCENCMediaContent::CCENCMediaContent()
    : m_descriptors(std::make_unique<ContentDescriptors>())
    , m_walk(std::make_unique<FragmentWalk>(m_records))
    , m_rewriter(std::make_unique<SegmentRewriter>(m_walk->records(), *m_descriptors)) {}

CCENCMediaContent::~CCENCMediaContent() = default;

int CCENCMediaContent::init(eDRM_TYPE drmType, bool avSeparated) {
    HAS_LOG_HIGHLIGHTED(" CCENCMediaContent init");
    m_walk->clearMovie();
    m_descriptors->choose(drmType);
    m_rewriter->begin(avSeparated);
    return 1;
}

int CCENCMediaContent::setMode(CONTENT_TYPE mode) {
    m_mode = mode;
    return 1;
}

void CCENCMediaContent::startSegment() {
    m_rewriter->startSegment();
}

void CCENCMediaContent::resetBuffer() {
    m_rewriter->resetBuffer();
}

int CCENCMediaContent::process(int period, int representation, unsigned char* in,
                               unsigned int inLen, unsigned char* out, unsigned int& outLen) {
    return m_rewriter->process(period, representation, in, inLen, out, outLen);
}

int CCENCMediaContent::final(int period, int representation, unsigned char* out,
                             unsigned int& outLen) {
    return m_rewriter->final(period, representation, out, outLen);
}

unsigned int CCENCMediaContent::getUndecryptedData() {
    return static_cast<unsigned int>(m_rewriter->waiting());
}

int CCENCMediaContent::getLastErrorCode() {
    return m_rewriter->lastError();
}

void CCENCMediaContent::setContentProtectionInfo(int period, int representation,
                                                 void* descriptors) {
    m_descriptors->store(period, representation,
                         static_cast<const ContentDescriptors::List*>(descriptors));
}

int CCENCMediaContent::findContentProtection(int period, int representation,
                                             dashengine::ContentProtection_t& out) {
    const auto* const found = m_descriptors->find(period, representation);
    if (found == nullptr)
        return 0;
    out = *found;
    return 1;
}

bool CCENCMediaContent::isSystemIDMatched(const std::string& schemeId) {
    return !m_descriptors->systemIdOf(schemeId).empty();
}

std::string CCENCMediaContent::getSystemID(dashengine::ContentProtection_t& cp) {
    return m_descriptors->systemIdOf(cp.schemeIdUri);
}

std::string CCENCMediaContent::getPsshData(dashengine::ContentProtection_t& cp) {
    return ContentDescriptors::psshText(cp);
}

std::string CCENCMediaContent::base64Decode(std::string text) {
    return decodeBase64(text);
}

int CCENCMediaContent::getBoxParsingMode(unsigned int type) {
    return FragmentWalk::mode(type);
}

int CCENCMediaContent::parsingBox(unsigned int type, unsigned char* box) {
    return box == nullptr ? -1 : parsingBox(type, box, getAttributeValue(box));
}

int CCENCMediaContent::parsingBox(unsigned int type, unsigned char* box, size_t bytes) {
    return m_walk->parseBox(type, box, bytes);
}

int CCENCMediaContent::moofBoxParsing(unsigned char* moof) {
    return parsingBox(boxType("moof"), moof);
}

long long CCENCMediaContent::walkBoxes(unsigned char* boxes, size_t bytes) {
    return m_walk->walkBoxes(boxes, bytes);
}

int CCENCMediaContent::parsingTrafBox(unsigned char* traf) {
    return hascommon::detail::parsingTrafBox(BoxView(traf, getAttributeValue(traf)));
}

int CCENCMediaContent::parsingTrunBox(unsigned char* trun) {
    return hascommon::detail::parsingTrunBox(BoxView(trun, getAttributeValue(trun)));
}

int CCENCMediaContent::getAuxiliaryDataFormat(unsigned char* moof, size_t bytes) {
    return m_walk->bindLast(moof, bytes);
}

void CCENCMediaContent::addTrackData(const TRACK_FORMAT& track) {
    m_walk->records().add(track);
}

void CCENCMediaContent::addMoofTrackData(const MOOF_TRACK_FORMAT& track) {
    m_walk->records().add(track);
}

void CCENCMediaContent::updataBoxSize(unsigned char* box, unsigned int size) {
    storeU32(box, size);
}

void CCENCMediaContent::updateBoxType(unsigned char* box, unsigned int type) {
    storeU32(box + 4, type);
}

unsigned int CCENCMediaContent::getAttributeValue(const unsigned char* field) {
    unsigned int value = 0;
    ByteReader(field, sizeof value).u32(value);
    return value;
}

void CCENCMediaContent::updateAttributeValue(unsigned char* field, unsigned int value) {
    storeU32(field, value);
}
