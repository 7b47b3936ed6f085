// What the tables of a transport stream say.
#pragma once

#include "PsiAssembler.h"

#include <optional>
#include <string>
#include <vector>

namespace hastool {

constexpr unsigned int kTableIdPat = 0;
constexpr unsigned int kTableIdCat = 1;
constexpr unsigned int kTableIdPmt = 2;

/// A CA descriptor: where the messages of an access system are.
struct CaInfo {
    unsigned int systemId = 0;
    int pid = 0; ///< of entitlement control messages in a PMT, of management messages in a CAT
    Bytes privateData;

    bool operator==(const CaInfo& other) const {
        return systemId == other.systemId && pid == other.pid && privateData == other.privateData;
    }
};

struct PatProgram {
    int number = 0; ///< 0 for the network's own table
    int pid = 0;
};

struct PatSection {
    int streamId = 0;
    int version = 0;
    bool isCurrent = false;
    std::vector<PatProgram> programs;
};

struct PmtStream {
    unsigned int type = 0;
    int pid = 0;
    std::vector<CaInfo> ca;
};

struct PmtSection {
    int program = 0;
    int version = 0;
    bool isCurrent = false;
    int pcrPid = 0;
    std::vector<CaInfo> ca;
    std::vector<PmtStream> streams;
};

/// @name The tables in a section
/// A part whose length reaches beyond the section ends with the section.
/// @param section  whole and sound, as PsiAssembler gives it
/// @return nothing for another table
/// @{
std::optional<PatSection> parsePat(const Bytes& section);
std::optional<PmtSection> parsePmt(const Bytes& section);
std::optional<std::vector<CaInfo>> parseCat(const Bytes& section);
/// @}

/// "H.264 video"; "private" and the like for what is not known.
std::string streamTypeName(unsigned int type);

constexpr unsigned int kStreamTypeH264 = 0x1B;

} // namespace hastool
