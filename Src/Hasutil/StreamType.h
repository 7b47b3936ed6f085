/// @file
/// The kinds of elementary streams.
#pragma once

namespace hascommon {

/// What a PID of a transport stream carries.
///
/// The values are this library's own and not the stream_type of ISO/IEC 13818-1, table 2-34; the
/// embedder maps one to the other.
enum StreamType : int {
    /// Not an elementary stream: a program map table, or not known.
    STREAM_TYPE_NONE = 0,
    /// Not a stream either, but the category of a whole program, see TsProcessData::UpdateEsInfo().
    STREAM_TYPE_PROGRAM = 1,
    /// A video stream; as a category, a program of video.
    STREAM_TYPE_VIDEO = 2,
    /// An audio stream; as a category, a program of audio alone.
    STREAM_TYPE_AUDIO = 3,
};

} // namespace hascommon
