#!/bin/bash
# Makes a small HLS presentation in four qualities out of ffmpeg's own test pictures:
#
#   scripts/ladder.sh FOLDER [SECONDS]
#
# FOLDER then holds master.m3u8 and, for each quality, a folder with its playlist and segments of
# two seconds. The bitrate stands in the picture size; every quality has a constant one.
set -euo pipefail

folder=${1:?ladder.sh: a folder is needed}
seconds=${2:-45}
bitrates=(200 450 900 1500)             # kbit/s of the picture
sizes=(320x180 426x240 512x288 640x360) # one for each
frame_rate=25

filter="[0:v]split=${#bitrates[@]}"
for i in "${!bitrates[@]}"; do filter+="[s$i]"; done
encoders=()
streams=
for i in "${!bitrates[@]}"; do
    filter+=";[s$i]scale=${sizes[i]}[v$i]"
    rate=${bitrates[i]}k
    encoders+=(-map "[v$i]" -map 1:a "-b:v:$i" "$rate" "-minrate:v:$i" "$rate"
        "-maxrate:v:$i" "$rate" "-bufsize:v:$i" "$rate")
    streams+="v:$i,a:$i "
done

mkdir -p "$folder"
ffmpeg -v error -nostdin -y \
    -f lavfi -i "testsrc2=s=640x360:r=$frame_rate" -f lavfi -i "sine=frequency=440:sample_rate=48000" \
    -t "$seconds" -filter_complex "$filter" \
    -c:v libx264 -preset ultrafast -x264-params nal-hrd=cbr \
    -g $((2 * frame_rate)) -keyint_min $((2 * frame_rate)) -sc_threshold 0 \
    -c:a aac -b:a 48k "${encoders[@]}" -var_stream_map "${streams% }" \
    -f hls -hls_time 2 -hls_playlist_type vod -master_pl_name master.m3u8 \
    -hls_segment_filename "$folder/%v/%d.ts" "$folder/%v/index.m3u8"
