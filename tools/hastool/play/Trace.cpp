#include "Trace.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

constexpr char kHeader[] = "time_s,track,index,stream,bitrate_bps,bytes,duration_s,download_s,"
                           "first_byte_s,redirects,bandwidth_bps,mean_bps,buffer_s,switch,stalls,"
                           "stall_s,choice,choice_mean_bps,choice_first_bps,choice_buffer_ms,"
                           "retries,skipped,resolution\n";

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

const char* trackName(const TraceRow& row) {
    return row.isAudio ? "audio" : "main";
}

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

} // namespace

Trace::Trace(const std::string& path)
    : m_file(path, OutputFile::Mode::Replace)
    , m_json(endsWith(path, ".json")) {
    m_file.write(m_json ? "[" : kHeader);
}

void Trace::commit() {
    if (m_first)
        return;
    if (m_json)
        m_file.write("\n]\n");
    m_file.commit();
}

bool Trace::isTraceName(const std::string& path) {
    return endsWith(path, ".csv") || endsWith(path, ".json");
}

void Trace::add(const TraceRow& row) {
    if (m_json)
        addJson(row);
    else
        addCsv(row);
    m_first = false;
}

void Trace::addCsv(const TraceRow& row) {
    char text[512];
    const int length = std::snprintf(
        text, sizeof text,
        "%.3f,%s,%llu,%zu,%d,%llu,%.3f,%.3f,%.3f,%ld,%u,%u,%.3f,%s,%d,%.3f,%d,%u,%u,%lld,%d,%d,%"
        "s\n",
        row.time, trackName(row), static_cast<unsigned long long>(row.index), row.stream,
        row.bitrate, static_cast<unsigned long long>(row.bytes), row.duration, row.download,
        row.firstByte, row.redirects, row.bandwidth, row.mean, row.buffer, row.change, row.stalls,
        row.stallTime, row.choice, row.choiceMean, row.choiceFirst, row.choiceBuffer, row.retries,
        row.skipped ? 1 : 0, row.resolution.c_str());
    m_file.write(std::string_view(text, std::min(static_cast<size_t>(length), sizeof text - 1)));
}

void Trace::addJson(const TraceRow& row) {
    const nlohmann::ordered_json object = {
        {"time_s", rounded(row.time)},
        {"track", trackName(row)},
        {"index", row.index},
        {"stream", row.stream},
        {"bitrate_bps", row.bitrate},
        {"bytes", row.bytes},
        {"duration_s", rounded(row.duration)},
        {"download_s", rounded(row.download)},
        {"first_byte_s", rounded(row.firstByte)},
        {"redirects", row.redirects},
        {"bandwidth_bps", row.bandwidth},
        {"mean_bps", row.mean},
        {"buffer_s", rounded(row.buffer)},
        {"switch", row.change},
        {"stalls", row.stalls},
        {"stall_s", rounded(row.stallTime)},
        {"choice", row.choice},
        {"choice_mean_bps", row.choiceMean},
        {"choice_first_bps", row.choiceFirst},
        {"choice_buffer_ms", row.choiceBuffer},
        {"retries", row.retries},
        {"skipped", row.skipped},
        {"resolution", row.resolution},
    };
    m_file.write((m_first ? "\n" : ",\n") + object.dump());
}

} // namespace hastool
