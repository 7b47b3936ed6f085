// Several observers of one play.
#pragma once

#include <hastool/play/Player.h>

#include <vector>

namespace hastool {

/// Tells each of its observers, in their order, what it is told.
class PlayTee : public PlayObserver {
public:
    /// @param observers  borrowed
    explicit PlayTee(std::vector<PlayObserver*> observers);

    void onStatus(const PlayStatus& status) override;
    void onSegment(const TraceRow& row) override;
    void onSample(const PlaySample& sample) override;
    void onEvent(double time, const std::string& kind, const std::string& what) override;
    void onSwitch(double time, int from, int to) override;
    void onRendition(double time, int bitrate, const std::string& resolution) override;
    void onTrouble(const std::string& what) override;

private:
    std::vector<PlayObserver*> m_observers;
};

} // namespace hastool
