// Which segment of a stream a request is for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace hastool {

/// The number of a media segment in its stream, from 1; nothing for a file that is no segment, such
/// as a manifest, a key or an initialisation.
///
/// A file with several fragments is a stream: the number is that of the fragment at `offset`. Any
/// other segment is a file. Its stream are the files of its folder whose names differ from its own
/// only in the last group of digits, and the lowest of these is number 1: "12.ts",
/// "chunk-stream0-00012.m4s", "Fragments(video=240000000)".
/// @param offset  where the request begins in the file
std::optional<uint64_t> segmentNumber(const std::filesystem::path& file, uint64_t offset);

} // namespace hastool
