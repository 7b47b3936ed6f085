#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#include <Hasutil/detail/BoxRewriter.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/DataOffset.h>
#include <Hasutil/detail/Fragment.h>
#include <Hasutil/detail/OffsetTable.h>

#include <cstring>

namespace {

using namespace hascommon::detail;

/// Finds the direct child of a type that comes last.
/// @param found  receives where it begins; 0 when no child is of that type
/// @return false when a child does not fit
bool findLastChild(const BoxView& parent, unsigned int type, size_t& found) {
    found = 0;
    return forChildren(parent, kBoxHeader, [&](const BoxView& child) {
        if (child.type() == type)
            found = static_cast<size_t>(child.data() - parent.data());
        return true;
    });
}

/// Logs where the data offsets of a fragment lie.
/// @return whether the fragment carries a `pssh` of its own
bool lookIntoMoof(const BoxView& moof) {
    bool hasPssh = false;
    forChildren(moof, kBoxHeader, [&](const BoxView& child) {
        hasPssh = hasPssh || child.type() == kPssh;
        if (child.type() != kTraf)
            return true;
        HAS_LOG_OF("lookIntoMoof", "Process traf box.");
        const int offset = parsingTrafBox(child);
        if (offset >= 0)
            HAS_LOG_OF("lookIntoMoof", "Offset is %d.",
                       static_cast<int>(child.data() - moof.data()) + offset);
        return true;
    });
    return hasPssh;
}

} // namespace

namespace hascommon::detail {

bool BoxRewriter::emitBox(const BoxView& box, unsigned long long position, OutputArea& target) {
    if (box.type() == kMoov)
        return emitMoov(box, position, target);
    if (box.type() == kMoof)
        return emitMoof(box, position, target);
    return target.copy(box);
}

bool BoxRewriter::emitMoov(const BoxView& moov, unsigned long long position, OutputArea& target) {
    HAS_LOG_HIGHLIGHTED(" Process moov box.");
    size_t psshAt = 0;
    if (!findLastChild(moov, kPssh, psshAt))
        return false;
    const bool areKept = forChildren(moov, kBoxHeader, [this](const BoxView& child) {
        return child.type() != kPssh || keepPssh(child, m_records) >= 0;
    });
    if (!areKept)
        return false;
    return m_avSeparated ? emitSeparateMoov(moov, psshAt, target)
                         : emitMuxedMoov(moov, psshAt, position, target);
}

bool BoxRewriter::emitSeparateMoov(const BoxView& moov, size_t psshAt, OutputArea& target) {
    HAS_LOG("[*] media is AVSep.");
    unsigned char* const out = target.take(moov.size());
    if (out == nullptr)
        return false;
    memcpy(out, moov.data(), moov.size());
    if (psshAt != 0 && !m_records.psshData.empty()) {
        BoxView(out + psshAt, kBoxHeader).retype(kFree);
        HAS_LOG_HIGHLIGHTED(" Change PSSH Box Type to FREE.");
    }
    return true;
}

bool BoxRewriter::emitMuxedMoov(const BoxView& moov, size_t psshAt, unsigned long long position,
                                OutputArea& target) {
    const auto* const descriptor = m_descriptors.find(target.period, target.representation);
    if (descriptor == nullptr)
        return target.copy(moov);
    const PsshBox pssh = m_descriptors.boxOf(*descriptor);
    HAS_LOG_HIGHLIGHTED(" AVMux Get PSSH Box Infomation From MPD.period:%d, rprst:%d",
                        target.period, target.representation);
    HAS_LOG("AVMux Get PSSH Box Infomation From MPD PsshInfo:%s",
            ContentDescriptors::psshText(*descriptor).c_str());

    BoxView old;
    const bool hasOld = psshAt != 0 && moov.child(psshAt, old);
    const size_t before = hasOld ? psshAt : moov.size();
    const size_t replaced = old.size();
    const unsigned long long size = moov.size() - replaced + pssh.size();
    unsigned char* const out = target.take(size);
    if (out == nullptr)
        return false;
    memcpy(out, moov.data(), before);
    storeU32(out, static_cast<unsigned int>(size));
    pssh.write(out + before);
    const size_t behind = before + replaced;
    memcpy(out + before + pssh.size(), moov.data() + behind, moov.size() - behind);
    const auto grown = static_cast<long long>(pssh.size()) - static_cast<long long>(replaced);
    m_inserted += grown;
    return moveSampleTables(BoxView(out, static_cast<size_t>(size)), position + behind, grown);
}

bool BoxRewriter::emitMoof(const BoxView& moof, unsigned long long position, OutputArea& target) {
    HAS_LOG("Process moof box.");
    if (!isFragmentSound(moof))
        return false;
    PsshBox pssh;
    const bool inserts = choosePssh(lookIntoMoof(moof), target, pssh);
    const unsigned long long added = inserts ? pssh.size() : 0;
    unsigned char* const out = target.take(moof.size() + added);
    if (out == nullptr)
        return false;
    memcpy(out, moof.data(), moof.size());
    const Moved moved{m_inserted, static_cast<unsigned int>(added), position};
    if (!moveFragment(BoxView(out, moof.size()), moved))
        return false;
    if (inserts) {
        storeU32(out, static_cast<unsigned int>(moof.size() + added));
        pssh.write(out + moof.size());
    }
    m_inserted += static_cast<long long>(added);
    return true;
}

/// @return whether a box is to be inserted into the fragment
bool BoxRewriter::choosePssh(bool hasOwn, const OutputArea& target, PsshBox& pssh) {
    if (!m_avSeparated) {
        HAS_LOG("Media is AV Mux.");
        return false;
    }
    HAS_LOG("Media is AV Sep.");
    if (hasOwn) {
        HAS_LOG("Do not need to insert pssh box.");
        return false;
    }
    const auto* const descriptor = m_descriptors.find(target.period, target.representation);
    if (descriptor != nullptr)
        pssh = m_descriptors.boxOf(*descriptor);
    if (pssh.data.empty() && !m_records.psshData.empty())
        pssh = {m_records.psshSystemId, m_records.psshData};
    else if (descriptor == nullptr)
        return false;
    HAS_LOG("Pssh box size:%d.", static_cast<int>(pssh.size()));
    if (!pssh.systemId.empty())
        HAS_LOG("Get Pssh box systemID.");
    return true;
}

} // namespace hascommon::detail
