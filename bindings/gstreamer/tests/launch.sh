#!/bin/bash
# The element as GStreamer's own programs find it. Usage: launch.sh NM PLUG_IN TOOL; the tool is `fourtap`, or an
# empty word if it is not built.
set -euo pipefail
nm=$1 plugIn=$2 tool=$3
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
GST_PLUGIN_PATH=$(dirname "$plugIn")
export GST_PLUGIN_PATH

Fail() {
  echo "launch.sh: $1" >&2
  exit 1
}

# Of the plug-in just what GStreamer asks for is seen: two with a copy of the library each don't meet.
shown=$("$nm" -D --defined-only "$plugIn" | cut -d ' ' -f 3 | sort | tr '\n' ' ')
[[ $shown == "gst_plugin_fourtapscale_get_desc gst_plugin_fourtapscale_register " ]] || Fail "the plug-in shows $shown"

# What it is, and what can be set.
gst-inspect-1.0 fourtapscale >"$scratch/inspected"
for said in 'Klass  *Filter/Converter/Video/Scaler' 'License  *MIT/X11' 'add-borders  *: Add black borders' \
  'premultiplied  *: The colours of RGBA' 'qos  *: Handle' 'set  *: The widest instruction set' \
  '2147483647): widest ' 'steps  *: Reductions beyond 2:1' 'threads  *: Threads that share a frame'; do
  grep -q "$said" "$scratch/inspected" || Fail "gst-inspect-1.0 does not say '$said'"
done

# The line on the page, with an end and no window.
line=$(grep -m 1 '^    gst-launch-1.0 ' "$here/../README.md")
line=${line/videotestsrc/videotestsrc num-buffers=2}
read -ra words <<<"${line/autovideosink/fakesink}"
"${words[@]}" >"$scratch/out" 2>&1 || Fail "the page's line says: $(cat "$scratch/out")"

# The example: two previews of one source, with the bytes that the tool makes of the same frames.
source=(videotestsrc num-buffers=3 pattern=zone-plate kx2=20 ky2=20 kt=1)
"$here/../examples/previews.sh" "${source[*]} ! video/x-raw,format=NV12 ! identity" \
  "tee name=t ! queue ! filesink location=$scratch/large t. ! queue ! fakesink" "filesink location=$scratch/small"
gst-launch-1.0 -q "${source[@]}" ! video/x-raw,format=NV12,width=1280,height=720 ! filesink location="$scratch/frames"
if [[ -n $tool ]]; then
  for preview in large:960x540 small:320x180; do
    "$tool" --quiet --raw nv12:1280x720 --format raw "$scratch/frames" "$scratch/expected" --force \
      --size "${preview#*:}"
    cmp "$scratch/expected" "$scratch/${preview%:*}" || Fail "${preview%:*} is not what $tool makes"
  done
fi
bytes=$(stat -c %s "$scratch/small")
((bytes == 3 * 320 * 180 * 3 / 2)) || Fail "the small preview has $bytes bytes"

# What can't be had gets a sentence, and the debugging category says what is done. A time limit, since gst-launch-1.0
# of GStreamer 1.22 now and then waits for ever behind an error of any element while it starts.
if timeout 20 gst-launch-1.0 videotestsrc num-buffers=1 ! video/x-raw,format=UYVY,width=320,height=240 ! fourtapscale ! \
  video/x-raw,width=161,height=100 ! fakesink >"$scratch/out" 2>"$scratch/err"; then
  Fail "an odd width of UYVY can be had"
fi
grep -q "UYVY of 320x240 can't become 161x100: two pixels share chroma" "$scratch/err" ||
  Fail "it says: $(cat "$scratch/err")"
GST_DEBUG=fourtapscale:5 GST_DEBUG_NO_COLOR=1 gst-launch-1.0 -q videotestsrc num-buffers=1 ! \
  video/x-raw,format=RGB,width=320,height=240 ! fourtapscale set=c threads=2 ! \
  video/x-raw,width=160,height=120 ! fakesink 2>"$scratch/err"
grep -q 'RGB of 320x240 to 160x120 at 0,0 of 160x120; set c, threads 2, [0-9]* bytes' "$scratch/err" ||
  Fail "it says: $(cat "$scratch/err")"
echo "All is found and done"
