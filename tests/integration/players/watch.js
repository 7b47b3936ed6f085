// Plays streams side by side, each in a video of its own, and posts what became of each to "result".
// The page's query says which: "?url=...&url=...".
"use strict";

const kSeconds = 10;
const kPatience = 90000; // ms, on a machine that has other things to do

function stateOf(video, error) {
  const quality = video.getVideoPlaybackQuality();
  return {
    time: video.currentTime,
    width: video.videoWidth,
    frames: quality.totalVideoFrames - quality.droppedVideoFrames,
    audioBytes: video.webkitAudioDecodedByteCount,
    error: error,
  };
}

// Settles once the stream has played, or is not going to.
function watch(video, failed) {
  return new Promise((resolve) => {
    const finish = (error) => {
      clearInterval(timer);
      resolve(stateOf(video, error));
    };
    const begin = performance.now();
    const timer = setInterval(() => {
      if (video.currentTime >= kSeconds) finish("");
      else if (performance.now() - begin > kPatience) finish("it does not go on");
    }, 100);
    video.addEventListener("error", () => finish("video: " + video.error.message));
    failed.then(finish, (error) => finish(String(error)));
  });
}

// start(video, url) begins to play and returns a promise that settles with the text of an error, if
// there ever is one.
async function playAll(start) {
  const urls = new URLSearchParams(location.search).getAll("url");
  await Promise.all(urls.map(async (url) => {
    const video = document.createElement("video");
    video.muted = true;
    document.body.append(video);
    const result = await watch(video, start(video, url));
    await fetch("result", {method: "POST", body: JSON.stringify({url, ...result})});
    video.pause();
  }));
}
