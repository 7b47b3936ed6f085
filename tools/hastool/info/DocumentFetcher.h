// Documents over the download engine, several at a time.
#pragma once

#include <hastool/base/ByteSink.h>
#include <hastool/formats/Presentation.h>
#include <hastool/net/Downloader.h>

#include <chrono>
#include <deque>
#include <memory>
#include <vector>

namespace hastool {

/// Fetches documents one after the other, while those that are expected next are already on their
/// way. All of it together ends after the options' total time limit, and at once when the user
/// interrupts.
class DocumentFetcher {
public:
    /// @param options  with a total time limit
    explicit DocumentFetcher(EngineOptions options);

    /// Tells what will be fetched, in that order.
    void expect(const std::vector<Resource>& resources);
    /// Waits for a document. @throws ToolError when it cannot be had
    Document fetch(const Resource& resource);

private:
    using Clock = std::chrono::steady_clock;

    struct Transfer {
        explicit Transfer(const Resource& wanted)
            : resource(wanted)
            , sink(kMaxManifestBytes) {}

        Resource resource;
        MemorySink sink;
        Downloader::Id id = 0;
    };
    using Transfers = std::vector<std::unique_ptr<Transfer>>;

    Transfer& begin(const Resource& resource);
    void beginExpected();
    void await(const Transfer& transfer);
    const char* troubleNow() const;

    Clock::time_point m_end;
    std::deque<Resource> m_expected;
    Transfers m_transfers; ///< the engine writes into them until it is gone: before it
    Downloader m_downloader;
};

} // namespace hastool
