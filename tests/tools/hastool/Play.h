// A play as a report sees it.
#pragma once

#include <hastool/report/PlaySection.h>

namespace test {

inline hastool::PlaySample playSample(double time, unsigned mean, double buffer) {
    hastool::PlaySample sample;
    sample.time = time;
    sample.bandwidth = mean + 1000;
    sample.mean = mean;
    sample.buffer = buffer;
    sample.position = time;
    sample.bitrate = 300000;
    sample.playing = true;
    return sample;
}

inline hastool::TraceRow traceRow(uint64_t index, double begin, double download) {
    hastool::TraceRow row;
    row.index = index;
    row.begin = begin;
    row.download = download;
    row.time = begin + download;
    row.firstByte = 0.125;
    row.bitrate = 300000;
    row.bytes = 75000;
    row.duration = 2;
    row.buffer = 4.5;
    row.bandwidth = 2100000;
    row.mean = 1900000;
    row.resolution = "320x180";
    return row;
}

/// A play with one of everything: a switch, a stall, a pause, held transfers, trouble, audio.
inline hastool::ReportedPlay reportedPlay(const std::string& title = "a play") {
    hastool::ReportedPlay play;
    play.title = title;
    hastool::PlayRecord& record = play.record;
    record.onSample(playSample(0.25, 0, 0));
    record.onSegment(traceRow(10, 0.5, 0.25));
    record.onSwitch(0.8, 300000, 900000);
    hastool::PlaySample stalled = playSample(1, 1500000, 0);
    stalled.stalled = true;
    record.onSample(stalled);
    hastool::PlaySample paused = playSample(1.5, 1400000, 3);
    paused.paused = paused.transferHeld = true;
    record.onSample(paused);
    record.onTrouble("http://h/a?b=<c>&d: gone; skipped");
    record.onSample(playSample(2.5, 1300000, 2.75));
    hastool::TraceRow audio = traceRow(7, 2.5, 0.5);
    audio.isAudio = true;
    audio.retries = 2;
    audio.redirects = 1;
    record.onSegment(audio);
    hastool::TraceRow skipped = traceRow(11, 3, 0.125);
    skipped.skipped = true;
    record.onSegment(skipped);
    play.summary.url = "http://h/master.m3u8";
    play.summary.ladder = {300000, 900000};
    play.summary.streams = 2;
    play.summary.played = 12.25;
    play.summary.wallTime = 14.5;
    play.summary.segments = 2;
    play.summary.skipped = 1;
    play.summary.bytes = 1234567;
    play.summary.stalls = 1;
    play.summary.stallTime = 0.5;
    play.summary.switchesUp = 1;
    return play;
}

} // namespace test
