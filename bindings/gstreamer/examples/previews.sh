#!/bin/bash
# One camera, two previews of its frames, each scaled from the source: previews.sh [CAMERA [LARGE [SMALL]]].
# The arguments are parts of a pipeline as gst-launch-1.0 takes them: what gives frames, and what shows each preview.
# Without any, a test picture comes on the screen in two windows; `previews.sh v4l2src` shows a camera of 1280x720.
set -euo pipefail
camera=${1:-videotestsrc is-live=true}
large=${2:-videoconvert ! autovideosink}
small=${3:-videoconvert ! autovideosink}

# The words are gst-launch's.
# shellcheck disable=SC2086
exec gst-launch-1.0 -q $camera ! video/x-raw,width=1280,height=720 ! tee name=frames \
  frames. ! queue ! fourtapscale ! video/x-raw,width=960,height=540 ! $large \
  frames. ! queue ! fourtapscale ! video/x-raw,width=320,height=180 ! $small
