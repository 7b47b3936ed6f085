#include "DemoPlan.h"

namespace hastool {

const std::vector<DemoItem>& demoItems() {
    static const std::vector<DemoItem> items = {
        {"hls", "hls", "master.m3u8", DemoMedia::ClearBytes, "hls"},
        {"hls-aes", "hls-aes", "master.m3u8", DemoMedia::ClearBytes, "hls"},
        {"dash", "dash", "manifest.mpd", DemoMedia::Boxes, "dash"},
        {"dash-hybrid", "dash", "manifest.mpd", DemoMedia::Boxes, "dash", kHybridRule},
        {"dash-cenc", "dash-cenc", "manifest.mpd", DemoMedia::PsshInFragments, "dash-cenc"},
        {"dash-muxed", "dash-muxed", "manifest.mpd", DemoMedia::PsshInMovie, "dash-muxed"},
        {"smooth", "smooth", "Manifest", DemoMedia::Boxes, "smooth"},
    };
    return items;
}

const char* const kDemoProfile = "time_s,kbps\n"
                                 "0,600\n"
                                 "5,1300\n"
                                 "10,3500\n" // all qualities
                                 "19,300\n"  // the lowest
                                 "29,3500\n"
                                 "34,0\n"
                                 "36,3500\n"
                                 "90,\n";

} // namespace hastool
