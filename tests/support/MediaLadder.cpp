#include <support/Child.h>
#include <support/MediaLadder.h>
#include <support/TempDir.h>

#include <sstream>

namespace test {
namespace {

constexpr int kFrameRate = 25;
constexpr int kSegmentSeconds = 2;

/// Splits the picture and gives every quality a size of its own.
std::string filter(size_t count) {
    std::string text = "[0:v]split=" + std::to_string(count);
    for (size_t i = 0; i < count; ++i)
        text.append("[s").append(std::to_string(i)).append("]");
    for (size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        const std::string width = std::to_string(128 + 64 * i);
        const std::string height = std::to_string(72 + 36 * i);
        text.append(";[s").append(number).append("]scale=").append(width).append(":");
        text.append(height).append("[v").append(number).append("]");
    }
    return text;
}

void addEncoders(std::vector<std::string>& command, const std::vector<int>& bitrates) {
    std::string streams;
    for (size_t i = 0; i < bitrates.size(); ++i) {
        const std::string number = std::to_string(i);
        const std::string rate = std::to_string(bitrates[i]) + "k";
        for (const std::string& it :
             {std::string("-map"), "[v" + number + "]", std::string("-map"), std::string("1:a"),
              "-b:v:" + number, rate, "-minrate:v:" + number, rate, "-maxrate:v:" + number, rate,
              "-bufsize:v:" + number, rate})
            command.push_back(it);
        streams.append(i == 0 ? "v:" : " v:").append(number).append(",a:").append(number);
    }
    command.insert(command.end(), {"-var_stream_map", streams});
}

} // namespace

MediaLadder::MediaLadder(std::filesystem::path folder, Format format, int seconds,
                         const std::vector<int>& bitrates)
    : m_folder(std::move(folder)) {
    std::filesystem::create_directories(m_folder);
    const std::string gop = std::to_string(kFrameRate * kSegmentSeconds);
    std::vector<std::string> command = {"ffmpeg",
                                        "-v",
                                        "error",
                                        "-nostdin",
                                        "-f",
                                        "lavfi",
                                        "-i",
                                        "testsrc2=s=320x180:r=" + std::to_string(kFrameRate),
                                        "-f",
                                        "lavfi",
                                        "-i",
                                        "sine=frequency=440:sample_rate=48000",
                                        "-t",
                                        std::to_string(seconds),
                                        "-filter_complex",
                                        filter(bitrates.size()),
                                        "-c:v",
                                        "libx264",
                                        "-preset",
                                        "ultrafast",
                                        "-x264-params",
                                        "nal-hrd=cbr",
                                        "-g",
                                        gop,
                                        "-keyint_min",
                                        gop,
                                        "-sc_threshold",
                                        "0",
                                        "-c:a",
                                        "aac",
                                        "-b:a",
                                        "32k"};
    addEncoders(command, bitrates);
    const bool isMp4 = format == Format::FragmentedMp4;
    command.insert(command.end(),
                   {"-f", "hls", "-hls_time", std::to_string(kSegmentSeconds), "-hls_playlist_type",
                    "vod", "-hls_segment_type", isMp4 ? "fmp4" : "mpegts", "-master_pl_name",
                    "master.m3u8", "-hls_segment_filename",
                    (m_folder / "%v" / (isMp4 ? "%d.m4s" : "%d.ts")).string(),
                    "-hls_fmp4_init_filename", "init.mp4", (m_folder / "%v/index.m3u8").string()});
    runOk(command, std::chrono::seconds(100));
}

std::vector<std::string> MediaLadder::uris(int quality) const {
    std::istringstream playlist(readFile(m_folder / std::to_string(quality) / "index.m3u8"));
    std::vector<std::string> result;
    const std::string map = "#EXT-X-MAP:URI=\"";
    for (std::string line; std::getline(playlist, line);) {
        if (line.rfind(map, 0) == 0)
            result.push_back(line.substr(map.size(), line.rfind('"') - map.size()));
        else if (!line.empty() && line[0] != '#')
            result.push_back(line);
    }
    return result;
}

std::string MediaLadder::joined(int quality) const {
    std::string result;
    for (const std::string& uri : uris(quality))
        result += readFile(m_folder / std::to_string(quality) / uri);
    return result;
}

std::string decodeErrors(const std::string& path) {
    const Child::Result result =
        run({"ffmpeg", "-nostdin", "-v", "error", "-i", path, "-f", "null", "-"});
    if (result.status != 0)
        return "status " + std::to_string(result.status) + "\n" + result.err;
    return result.err + result.out;
}

double decodedSeconds(const std::string& path) {
    const std::string frames =
        runOk({"ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
               "stream=nb_read_frames", "-of", "csv=p=0", path});
    return std::stod(frames) / kFrameRate;
}

} // namespace test
