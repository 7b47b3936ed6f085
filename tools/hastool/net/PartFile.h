// A file that may be there in part.
#pragma once

#include "ResourceState.h"
#include <hastool/base/ByteSink.h>
#include <hastool/base/Descriptor.h>

#include <string>

namespace hastool {

/// Takes a download's bytes behind those of an earlier run.
///
/// They are in FILE.part, which becomes FILE when it is whole, and stay there when the download
/// fails. Beside it FILE.part.json remembers where they are from; without that, and for another
/// URL, they are not gone on with.
///
/// The engine's thread writes while an attempt runs, the owner otherwise.
class PartFile : public ByteSink {
public:
    /// Opens the file, which nobody else may be writing. @throws ToolError with the path when that
    /// fails, and for what is no regular file
    PartFile(std::string path, std::string url);
    /// Removes FILE.part where there is nothing in it to go on with.
    ~PartFile() override;
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    /// Bytes that are there.
    uint64_t size() const { return m_size; }
    /// What was told with them.
    const ResourceState& state() const { return m_state; }

    /// Drops the bytes; those to come are from an answer that told this. @return false for a
    /// failure, as write()
    bool beginAnew(const ResourceState& state);
    bool write(const unsigned char* data, size_t size) override;
    std::string failure() const override { return m_failure; }
    /// Closes the file and gives it its name. @throws ToolError when that fails
    void commit();

private:
    void open();
    void readNote();
    bool writeNote();
    bool fail(const std::string& path);
    std::string notePath() const;

    const std::string m_path;
    const std::string m_partPath;
    const std::string m_url;
    Descriptor m_file;
    uint64_t m_size = 0;
    ResourceState m_state;
    std::string m_failure;
    bool m_committed = false;
};

} // namespace hastool
