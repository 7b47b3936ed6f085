// Resources over the download engine, several at a time.
#pragma once

#include "ByteRange.h"
#include "Downloader.h"
#include <hastool/base/ByteSink.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace hastool {

/// Fetches resources into memory one after the other, while those that are expected next are
/// already on their way. All of it together ends after the options' total time limit, and at once
/// when the user interrupts.
class QueuedFetcher {
public:
    struct Fetched {
        Outcome outcome;
        std::string bytes; ///< also of a download that failed: what there was
        std::chrono::steady_clock::time_point begun;
    };

    /// @param options  with a total time limit
    /// @param limit    the most bytes of one resource
    QueuedFetcher(EngineOptions options, size_t limit);

    /// Tells what will be fetched, in that order.
    void expect(const std::vector<Resource>& resources);
    /// Waits for a resource.
    Fetched fetch(const Resource& resource);
    /// Why nothing more is to be fetched; null when all is well.
    const char* troubleNow() const;

private:
    using Clock = std::chrono::steady_clock;

    struct Transfer {
        Transfer(const Resource& wanted, size_t limit)
            : resource(wanted)
            , sink(limit) {}

        Resource resource;
        MemorySink sink;
        Downloader::Id id = 0;
        Clock::time_point begun = Clock::now();
    };
    using Transfers = std::vector<std::unique_ptr<Transfer>>;

    Transfer* begin(const Resource& resource);
    void beginExpected();
    void await(const Transfer& transfer);

    Clock::time_point m_end;
    const size_t m_limit;
    std::deque<Resource> m_expected;
    Transfers m_transfers; ///< the engine writes into them until it is gone: before it
    Downloader m_downloader;
};

} // namespace hastool
