// A module of its own within a process: what it links of the library, and the classes it uses, stay inside.
#include <exception>
#include <fourtapscale/fourtap.hpp>

// Halves 4:2:0 frames of cx x cy pixels with interleaved chroma; 0 if that went well.
extern "C" [[gnu::visibility("default")]] int Halve(unsigned char const* frame, unsigned long bytes, int cx, int cy,
                                                    unsigned char* half, unsigned long bytesOfHalf) {
  using fourtapscale::FrameScaler;
  using fourtapscale::Size;
  try {
    Size const in{cx, cy}, out{cx / 2, cy / 2};
    FrameScaler scaler("nv12", in, out);
    scaler.Scale(scaler.Format().Within(in, frame, bytes), scaler.Format().Within(out, half, bytesOfHalf));
    return 0;
  } catch (std::exception const&) {
    return 1;
  }
}
