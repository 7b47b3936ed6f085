#!/bin/bash
# Makes the built-in presentations out of ffmpeg's own test pictures:
#
#   scripts/presentations.sh FOLDER CENC_COMPLETE
#
# CENC_COMPLETE is the program of that name, of the build. Every presentation is a folder with the same
# 42 seconds of H.264 and AAC in five bitrates, each written into its picture, in segments of two
# seconds: hls, hls-aes, dash, dash-cenc, dash-muxed and smooth. Every bitrate is encoded once.
set -euo pipefail
export LC_ALL=C

folder=${1:?presentations.sh: a folder is needed}
cenc_complete=$(realpath "${2:?presentations.sh: the program cenc_complete is needed}")
rates=(80 170 350 650 1050) # kbit/s of the picture
sizes=(160x90 256x144 384x216 512x288 640x360)
audio_rate=48 # kbit/s
seconds=42
segment=2 # seconds
frame_rate=25

# Of the protected presentations. Nothing is kept secret with them.
cenc_key=00112233445566778899aabbccddeeff
cenc_kid=a0a1a2a3a4a5a6a7a8a9aaabacadaeaf
aes_keys=(0f0e0d0c0b0a09080706050403020100 f0e0d0c0b0a090807060504030201000)
aes_iv=000102030405060708090a0b0c0d0e0f # of the second key's segments
rotation=11                             # the first segment of the second key

playready=9a04f079-9840-4286-ab92-e65be0885f95
codecs=(avc1.4D401F mp4a.40.2) # the profile and level below

run_ffmpeg() { ffmpeg -v error -nostdin -y "$@"; }
# shellcheck disable=SC2001
unhex() { printf '%b' "$(sed 's/../\\x&/g' <<<"$1")"; }
# number VALUE BYTES [little]: a number in hexadecimal digits, big-endian where nothing else is said
number() {
    local digits
    digits=$(printf '%0*x' $(($2 * 2)) "$1")
    [ "${3:-}" != little ] || digits=$(fold -w 2 <<<"$digits" | tac | tr -d '\n')
    printf '%s' "$digits"
}
size_of() { stat -c %s "$1"; }

# The picture without audio, with parameter sets before every key frame: a player that changes
# between protected qualities could not put them there.
encode() {
    local filter="[0:v]split=${#rates[@]}" outputs=() i
    for i in "${!rates[@]}"; do filter+="[s$i]"; done
    for i in "${!rates[@]}"; do
        filter+=";[s$i]scale=${sizes[i]},drawtext=text='${rates[i]} kbit/s'"
        filter+=":fontsize=h/7:x=(w-tw)/2:y=h-2*th:box=1:boxborderw=4:boxcolor=white[v$i]"
        outputs+=(-map "[v$i]" -c:v libx264 -preset veryfast -profile:v main -level 3.1 -bf 0
            -b:v "${rates[i]}k" -maxrate "${rates[i]}k" -bufsize "${rates[i]}k"
            -g $((segment * frame_rate)) -keyint_min $((segment * frame_rate)) -sc_threshold 0
            -f mpegts "$work/v$i.ts")
    done
    run_ffmpeg -f lavfi -i "testsrc2=s=640x360:r=$frame_rate:d=$seconds" \
        -filter_complex "$filter" "${outputs[@]}"
    run_ffmpeg -f lavfi -i "sine=frequency=330:beep_factor=3:sample_rate=48000:d=$seconds" \
        -c:a aac -b:a ${audio_rate}k "$work/a.aac"
    # Without the encoder's delay, which raw AAC does not tell of: all begins at 0.
    run_ffmpeg -i "$work/a.aac" -c copy -bsf:a aac_adtstoasc \
        -frames:a $((seconds * 48000 / 1024)) "$work/a.m4a"
}

# The mean bitrate of a quality's picture, as the manifests tell it.
mean_rate() {
    local rate=$(($(size_of "$work/v$1.ts") * 8 / seconds))
    echo $(((rate + 9999) / 10000 * 10000))
}

# The peak of a quality's segments, in bits per second.
peak() {
    local most=0 file
    for file in "$1"/*.ts; do
        [ "$(size_of "$file")" -le "$most" ] || most=$(size_of "$file")
    done
    echo $((most * 8 / segment))
}

make_hls() {
    local i
    mkdir -p hls
    printf '#EXTM3U\n#EXT-X-VERSION:3\n' >hls/master.m3u8
    for i in "${!rates[@]}"; do
        mkdir -p "hls/$i"
        run_ffmpeg -i "$work/v$i.ts" -i "$work/a.m4a" -map 0 -map 1 -c copy \
            -f hls -hls_time $segment -hls_playlist_type vod -start_number 1 \
            -hls_segment_filename "hls/$i/%d.ts" "hls/$i/index.m3u8"
        printf '#EXT-X-STREAM-INF:BANDWIDTH=%d,RESOLUTION=%s,CODECS="%s"\n%s\n' \
            "$(peak "hls/$i")" "${sizes[i]}" "${codecs[0]},${codecs[1]}" "$i/index.m3u8" \
            >>hls/master.m3u8
    done
}

# The same segments. Those of the first key have the vectors of their numbers, the others one that
# the playlist names.
make_hls_aes() {
    local i n
    mkdir -p hls-aes
    cp hls/master.m3u8 hls-aes
    unhex "${aes_keys[0]}" >hls-aes/1.key
    unhex "${aes_keys[1]}" >hls-aes/2.key
    for i in "${!rates[@]}"; do
        mkdir -p "hls-aes/$i"
        awk -v rotation=$rotation -v iv=$aes_iv '
            /^#EXTINF/ && ++n == 1 { print "#EXT-X-KEY:METHOD=AES-128,URI=\"../1.key\"" }
            /^#EXTINF/ && n == rotation {
                print "#EXT-X-KEY:METHOD=AES-128,URI=\"../2.key\",IV=0x" iv
            }
            { print }' "hls/$i/index.m3u8" >"hls-aes/$i/index.m3u8"
        for ((n = 1; n <= seconds / segment; ++n)); do
            local key=${aes_keys[0]} iv
            iv=$(number $n 16)
            [ $n -lt $rotation ] || { key=${aes_keys[1]} && iv=$aes_iv; }
            openssl enc -aes-128-cbc -K "$key" -iv "$iv" -in "hls/$i/$n.ts" -out "hls-aes/$i/$n.ts"
        done
    done
}

make_dash() {
    local inputs=() maps=() i
    mkdir -p dash
    for i in "${!rates[@]}"; do
        inputs+=(-i "$work/v$i.ts")
        maps+=(-map "$i" "-b:v:$i" "$(mean_rate "$i")")
    done
    run_ffmpeg "${inputs[@]}" -i "$work/a.m4a" "${maps[@]}" -map ${#rates[@]} \
        -b:a ${audio_rate}k -c copy -tag:v avc1 -tag:a mp4a -f dash -seg_duration $segment \
        -adaptation_sets "id=0,streams=v id=1,streams=a" dash/manifest.mpd
}

# boxes FILE: the boxes of a file, as lines of type, offset and size.
boxes() {
    local at=0 end
    end=$(size_of "$1")
    while [ $at -lt "$end" ]; do
        local size type
        size=$(od -An -tu4 --endian=big -j $at -N 4 "$1" | tr -d ' ')
        type=$(dd if="$1" bs=1 skip=$((at + 4)) count=4 status=none)
        echo "$type $at $size"
        at=$((at + size))
    done
}

# fragments FILE: offset and size of what comes before the fragments, and of each of them.
fragments() {
    boxes "$1" | awk '
        $1 == "moof" { if (n++ == 0) print 0, $2; begin = $2 }
        $1 == "mdat" { print begin, $2 + $3 - begin }'
}

# protect OUTPUT INPUT...: an encrypted file with a fragment for each segment. ffmpeg encrypts, but
# does not write down how; with the flag for bit-exact files it always does so in the same way.
protect() {
    local output=$1 inputs=() maps=() input
    shift
    for input in "$@"; do
        inputs+=(-i "$input")
        maps+=(-map $((${#maps[@]} / 2)))
    done
    # Audio alone has no key frames to be cut at.
    local cut=(-movflags frag_keyframe+empty_moov+default_base_moof)
    [ "$*" != "$work/a.m4a" ] ||
        cut=(-movflags empty_moov+default_base_moof -frag_duration $((segment * 1000000)))
    run_ffmpeg "${inputs[@]}" "${maps[@]}" -c copy "${cut[@]}" -fflags +bitexact \
        -encryption_scheme cenc-aes-ctr -encryption_key $cenc_key -encryption_kid $cenc_kid \
        -f mp4 "$work/incomplete.mp4"
    "$cenc_complete" "$work/incomplete.mp4" "$output"
}

# A PlayReady object with one header record; its key id has the byte order of a GUID.
playready_object() {
    local k=$cenc_kid guid header size
    guid=$(unhex "${k:6:2}${k:4:2}${k:2:2}${k:0:2}${k:10:2}${k:8:2}${k:14:2}${k:12:2}${k:16}" | base64)
    header='<WRMHEADER xmlns="http://schemas.microsoft.com/DRM/2007/03/PlayReadyHeader"'
    header+=' version="4.0.0.0"><DATA><PROTECTINFO><KEYLEN>16</KEYLEN><ALGID>AESCTR</ALGID>'
    header+="</PROTECTINFO><KID>$guid</KID></DATA></WRMHEADER>"
    size=$((${#header} * 2)) # UTF-16
    unhex "$(number $((size + 10)) 4 little)$(number 1 2 little)$(number 1 2 little)"
    unhex "$(number $size 2 little)"
    printf '%s' "$header" | iconv -f ASCII -t UTF-16LE
}

pssh_box() {
    playready_object >"$work/object"
    local size
    size=$(size_of "$work/object")
    unhex "$(number $((size + 32)) 4)"
    printf pssh
    unhex "00000000${playready//-/}$(number "$size" 4)"
    cat "$work/object"
}

protection() {
    local kid=${cenc_kid:0:8}-${cenc_kid:8:4}-${cenc_kid:12:4}-${cenc_kid:16:4}-${cenc_kid:20}
    cat <<XML
      <ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc"
        cenc:default_KID="$kid"/>
      <ContentProtection schemeIdUri="urn:uuid:$playready" value="MSPR 2.0">
        <cenc:pssh>$(pssh_box | base64 -w 0)</cenc:pssh>
      </ContentProtection>
XML
}

mpd_begin() {
    cat <<XML
<?xml version="1.0" encoding="utf-8"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013"
  profiles="urn:mpeg:dash:profile:isoff-main:2011" type="static"
  mediaPresentationDuration="PT${seconds}S" minBufferTime="PT${segment}S">
  <Period start="PT0S" duration="PT${seconds}S">
XML
}

mpd_end() { printf '  </Period>\n</MPD>\n'; }

# video_representation QUALITY CODECS FILE: its element, without an end
video_representation() {
    printf '      <Representation id="v%d" codecs="%s" width="%d" height="%d" bandwidth="%d">\n' \
        "$1" "$2" "${sizes[$1]%x*}" "${sizes[$1]#*x}" $(($(size_of "$3") * 8 / seconds))
}

# cut FILE FOLDER: an initialisation, and a file per segment
cut() {
    local n=0 at size
    mkdir -p "$2"
    fragments "$1" | while read -r at size; do
        local name=$n.m4s
        [ $n -gt 0 ] || name=init.mp4
        dd if="$1" of="$2/$name" bs=64K iflag=skip_bytes,count_bytes skip="$at" count="$size" \
            status=none
        n=$((n + 1))
    done
}

make_dash_cenc() {
    # shellcheck disable=SC2016
    local template='<SegmentTemplate initialization="$RepresentationID$/init.mp4"'
    template+=" media=\"\$RepresentationID\$/\$Number\$.m4s\" duration=\"$segment\"/>"
    mkdir -p dash-cenc
    {
        mpd_begin
        printf '    <AdaptationSet contentType="video" mimeType="video/mp4">\n'
        protection
        printf '      %s\n' "$template"
        local i
        for i in "${!rates[@]}"; do
            protect "$work/protected.mp4" "$work/v$i.ts"
            cut "$work/protected.mp4" "dash-cenc/v$i"
            video_representation "$i" "${codecs[0]}" "$work/protected.mp4"
            printf '      </Representation>\n'
        done
        printf '    </AdaptationSet>\n    <AdaptationSet contentType="audio" mimeType="audio/mp4">\n'
        protection
        printf '      %s\n' "$template"
        protect "$work/protected.mp4" "$work/a.m4a"
        cut "$work/protected.mp4" dash-cenc/a
        printf '      <Representation id="a" codecs="%s" audioSamplingRate="48000" bandwidth="%d"/>\n' \
            "${codecs[1]}" $((audio_rate * 1000))
        printf '    </AdaptationSet>\n'
        mpd_end
    } >dash-cenc/manifest.mpd
}

# One file per quality, its segments are ranges of it.
make_dash_muxed() {
    mkdir -p dash-muxed
    {
        mpd_begin
        printf '    <AdaptationSet contentType="video" mimeType="video/mp4">\n'
        protection
        local i
        for i in "${!rates[@]}"; do
            protect "dash-muxed/v$i.mp4" "$work/v$i.ts" "$work/a.m4a"
            video_representation "$i" "${codecs[0]},${codecs[1]}" "dash-muxed/v$i.mp4"
            printf '        <BaseURL>v%d.mp4</BaseURL>\n' "$i"
            printf '        <SegmentList duration="%d">\n' $segment
            fragments "dash-muxed/v$i.mp4" | awk '
                { range = $1 "-" $1 + $2 - 1 }
                NR == 1 { print "          <Initialization range=\"" range "\"/>" }
                NR > 1 { print "          <SegmentURL mediaRange=\"" range "\"/>" }'
            printf '        </SegmentList>\n      </Representation>\n'
        done
        printf '    </AdaptationSet>\n'
        mpd_end
    } >dash-muxed/manifest.mpd
}

make_smooth() {
    local inputs=() maps=() i
    for i in "${!rates[@]}"; do
        inputs+=(-i "$work/v$i.ts")
        maps+=(-map "$i" "-b:v:$i" "$(mean_rate "$i")")
    done
    run_ffmpeg "${inputs[@]}" -i "$work/a.m4a" "${maps[@]}" -map ${#rates[@]} \
        -b:a ${audio_rate}k -c copy -tag:v avc1 -tag:a mp4a \
        -f smoothstreaming -min_frag_duration $((segment * 1000000)) smooth
    find smooth -name 'FragmentInfo*' -delete
    # The format wants start codes of four bytes (MS-SSTR, 2.2.2.5); ffmpeg copies those it finds. Byte
    # by byte, so that no code is seen in the middle of two.
    awk -F 'CodecPrivateData="' '
        !/FourCC="H264"/ { print; next }
        {
            end = index($2, "\"")
            for (i = 1; i < end; i += 2) bytes = bytes " " substr($2, i, 2)
            gsub(/( 00)? 00 00 01/, " 00 00 00 01", bytes)
            gsub(/ /, "", bytes)
            print $1 FS bytes substr($2, end)
            bytes = ""
        }' smooth/Manifest >"$work/manifest"
    mv "$work/manifest" smooth/Manifest
}

# What was there stays until everything is made.
parent=$(dirname "$folder")
mkdir -p "$parent"
parent=$(realpath "$parent")
folder=$parent/$(basename "$folder")
work=$(mktemp -d "$parent/presentations-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/out"
cd "$work/out"
encode
make_hls
make_hls_aes
make_dash
make_dash_cenc
make_dash_muxed
make_smooth
rm -rf "$folder"
mv "$work/out" "$folder"
