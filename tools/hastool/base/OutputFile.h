// Files that the tool writes.
#pragma once

#include "ByteSink.h"

#include <string>
#include <string_view>

namespace hastool {

/// A file that is written from begin to end, unbuffered.
class OutputFile : public ByteSink {
public:
    /// How the file comes to its name.
    enum class Mode {
        Direct,  ///< written under its name
        Replace, ///< written as FILE.part until commit() renames it; a device or pipe is Direct
    };

    /// Opens the file. What was remembered of an earlier FILE.part is forgotten. @throws ToolError
    /// with the path when that fails
    OutputFile(std::string path, Mode mode);
    /// The standard output, written as it comes.
    static OutputFile standardOutput();
    /// Removes a FILE.part that was not committed.
    ~OutputFile() override;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& path() const { return m_path; }
    bool write(const unsigned char* data, size_t size) override;
    std::string failure() const override { return m_failure; }
    /// @throws ToolError when it cannot be written
    void write(std::string_view text);
    /// Closes the file and gives it its name. @throws ToolError when that fails
    void commit();

private:
    struct StandardOutput {};
    explicit OutputFile(StandardOutput);
    void close();

    std::string m_path;
    std::string m_writtenPath;
    int m_fd = -1;
    std::string m_failure;
};

/// Where it is remembered what a FILE.part has, so that a later download may go on with it.
std::string noteOfPart(const std::string& partPath);

} // namespace hastool
