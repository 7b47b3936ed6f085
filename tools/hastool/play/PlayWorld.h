// The clock and the network of a play.
#pragma once

#include "Clock.h"
#include "Fetcher.h"

#include <Hasnet/IDownloadEvent.h>

#include <functional>
#include <memory>

namespace hastool {

/// A play's time and its network.
struct PlayWorld {
    /// Makes the fetcher. @param traffic  is told of all bytes that come in, borrowed
    using Connect = std::function<std::unique_ptr<Fetcher>(const EngineOptions& options,
                                                           hascommon::IDownloadEvent& traffic)>;

    const Clock& clock;
    Connect connect;
};

/// The machine's clock and the download engine.
PlayWorld realWorld();

} // namespace hastool
