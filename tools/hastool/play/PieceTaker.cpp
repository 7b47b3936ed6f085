#include "PieceTaker.h"

namespace hastool {
namespace {

double inSeconds(std::chrono::milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

} // namespace

TraceRow orderRow(const PieceOrder& order, const Outcome& outcome) {
    TraceRow row;
    row.choice = order.choice.answer;
    row.choiceMean = order.choice.mean;
    row.choiceFirst = order.choice.first;
    row.choiceBuffer = order.choice.buffer;
    row.begin = order.begun;
    row.index = order.piece.index;
    row.bytes = outcome.bytes;
    row.duration = order.piece.seconds;
    row.download = inSeconds(outcome.time);
    row.firstByte = inSeconds(outcome.latency);
    row.redirects = outcome.redirects;
    row.retries = outcome.retries;
    row.url = outcome.url;
    row.attempts = outcome.attempts;
    row.givenUp = order.givenUp;
    row.wasted = order.wasted;
    return row;
}

} // namespace hastool
