/// @file
/// The kinds of elementary streams.
#pragma once

namespace hascommon {

/// What a PID of a transport stream carries.
enum StreamType : int {
    /// Not an elementary stream: a program map table, or not known.
    STREAM_TYPE_NONE = 0,
    /// Not a stream either, but the category of a whole program, see TsProcessData::UpdateEsInfo().
    STREAM_TYPE_PROGRAM = 1,
    STREAM_TYPE_VIDEO = 2,
    STREAM_TYPE_AUDIO = 3,
};

} // namespace hascommon
