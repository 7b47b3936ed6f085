#include "PartFile.h"

#include <hastool/base/OutputFile.h>
#include <hastool/base/ToolError.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hastool {
namespace {

using Json = nlohmann::json;

constexpr mode_t kFileMode = 0666; // less the user's mask
constexpr mode_t kNoteMode = 0600; // the URL may have a password

std::string textIn(const Json& note, const char* name) {
    const auto found = note.find(name);
    return found != note.end() && found->is_string() ? found->get<std::string>() : std::string();
}

[[noreturn]] void cannotBeWritten(const std::string& path) {
    throw ToolError(path, std::string("cannot be written: ") + std::strerror(errno));
}

} // namespace

PartFile::PartFile(std::string path, std::string url)
    : m_path(std::move(path))
    , m_partPath(m_path + ".part")
    , m_url(std::move(url)) {
    std::error_code error;
    const auto status = std::filesystem::status(m_path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw ToolError(m_path, "is no file that could be there in part");
    open();
    readNote();
    if (m_state.ifRange().empty() || (m_state.total && m_size > *m_state.total))
        m_size = 0;
    if (m_size == 0 && !beginAnew({}))
        cannotBeWritten(m_path);
}

PartFile::~PartFile() {
    if (m_committed || (m_size > 0 && !m_state.ifRange().empty()))
        return;
    unlink(m_partPath.c_str());
    unlink(notePath().c_str());
}

void PartFile::open() {
    m_file.reset(::open(m_partPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
    if (!m_file)
        cannotBeWritten(m_path);
    struct stat facts {};
    struct stat named {};
    // Another download may have given the file its name between the two steps: then it is whole,
    // and not to be touched.
    if (flock(m_file.get(), LOCK_EX | LOCK_NB) != 0 || fstat(m_file.get(), &facts) != 0 ||
        stat(m_partPath.c_str(), &named) != 0 || named.st_ino != facts.st_ino)
        throw ToolError(m_path, "is being written by another download");
    if (lseek(m_file.get(), 0, SEEK_END) < 0)
        cannotBeWritten(m_path);
    m_size = static_cast<uint64_t>(facts.st_size);
}

/// A note that cannot be read is none.
void PartFile::readNote() {
    std::ifstream file(notePath());
    const Json note = Json::parse(file, nullptr, false);
    if (!note.is_object() || textIn(note, "url") != m_url)
        return;
    m_state.etag = textIn(note, "etag");
    m_state.date = textIn(note, "lastModified");
    const auto total = note.find("total");
    if (total != note.end() && total->is_number_unsigned())
        m_state.total = total->get<uint64_t>();
}

/// Replaces the note in one step, so that none is ever read in part.
bool PartFile::writeNote() {
    Json note = {{"url", m_url}, {"etag", m_state.etag}, {"lastModified", m_state.date}};
    if (m_state.total)
        note["total"] = *m_state.total;
    const std::string text = note.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    const std::string draft = notePath() + ".new";
    const Descriptor file(
        ::open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kNoteMode));
    const bool written =
        file && ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (written && std::rename(draft.c_str(), notePath().c_str()) == 0)
        return true;
    const int reason = errno;
    unlink(draft.c_str());
    errno = reason;
    return fail(notePath());
}

/// The bytes go first and the note of what follows comes before it: whenever this is cut short, the
/// file has nothing that its note does not tell of.
bool PartFile::beginAnew(const ResourceState& state) {
    m_size = 0;
    m_state = state;
    if (ftruncate(m_file.get(), 0) != 0 || lseek(m_file.get(), 0, SEEK_SET) != 0)
        return fail(m_path);
    if (!state.ifRange().empty())
        return writeNote();
    return unlink(notePath().c_str()) == 0 || errno == ENOENT || fail(notePath());
}

bool PartFile::write(const unsigned char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(m_file.get(), data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return fail(m_path);
        data += written;
        size -= static_cast<size_t>(written);
        m_size += static_cast<uint64_t>(written);
    }
    return true;
}

void PartFile::commit() {
    if (std::rename(m_partPath.c_str(), m_path.c_str()) != 0)
        cannotBeWritten(m_path);
    m_committed = true;
    m_file.reset();
    unlink(notePath().c_str());
}

bool PartFile::fail(const std::string& path) {
    m_failure = path + ": " + std::strerror(errno);
    return false;
}

std::string PartFile::notePath() const {
    return noteOfPart(m_partPath);
}

} // namespace hastool
