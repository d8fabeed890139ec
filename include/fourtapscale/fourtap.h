/* FourTapScale for C, and for whatever calls C: the scalers of FourTapScale.h behind functions that check what they are
 * given. What a caller can get wrong is refused with a status and a sentence that names the argument, what it was and
 * what was expected; a refusal changes nothing and writes nothing.
 *
 *     fourtap_scaler* scaler = NULL;
 *     if (fourtap_open(&scaler, FOURTAP_RGB24, 1920, 1080, 1280, 720) != FOURTAP_OK) puts(fourtap_error());
 *     fourtap_source source = {picture, bytes_of_picture, 0};
 *     fourtap_target target = {scaled, bytes_of_scaled, 0};
 *     fourtap_scale(scaler, source, NULL, target, NULL);
 *     fourtap_close(scaler);
 *
 * Units: sizes and positions are pixels and lines, strides and memory are bytes. The bytes of output pixel (x, y)
 * depend on the picture and the sizes alone: not on the processor, nor on the rectangle, slices or strides asked with.
 *
 * Memory: `data` is the lowest address of what is handed over, `bytes` how much of it there is. Nothing else is
 * touched, and nothing is kept after the call. Source and target, from the first byte of their lines to the last, must
 * not overlap.
 *
 * Threads: a scaler serves one call at a time; different scalers serve any threads at once. No call allocates but
 * fourtap_open. */
#ifndef FOURTAPSCALE_FOURTAP_H
#define FOURTAPSCALE_FOURTAP_H

#include <fourtapscale/FourTapExport.h>
#include <fourtapscale/FourTapVersion.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum fourtap_status {
  FOURTAP_OK = 0,
  FOURTAP_INVALID = 1,   /* an argument is at fault, or sizes are beyond what the scalers can count */
  FOURTAP_MEMORY = 2,    /* memory can't be had */
  FOURTAP_PROCESSOR = 3, /* no set of scalers runs here, or the host's cpuid_detect_accel says so */
} fourtap_status;

/* Layouts. A number keeps its meaning for good; more may follow. */
enum {
  FOURTAP_PLANE = 0,  /* 1 byte */
  FOURTAP_RGB24 = 1,  /* 3 channels in any order */
  FOURTAP_RGB32 = 2,  /* 3 channels in any order and a fourth byte, which comes out as 0, unless the height alone
                         changes */
  FOURTAP_XYXY = 3,   /* packed 4:2:2: chroma, luma, other chroma, luma (UYVY). Widths and columns are even, unless the
                         height alone changes */
  FOURTAP_YXYX = 4,   /* the same, luma first (YUY2) */
  FOURTAP_UV16 = 5,   /* 2 channels: the chroma of NV12, gray with alpha */
  FOURTAP_RGBA32 = 6, /* 4 channels in any order, all filtered alike */
};

/* Instruction sets. A number keeps its meaning for good, and tells nothing of a set's rank; more may follow. */
enum {
  FOURTAP_SET_SSE2 = 1,
  FOURTAP_SET_AVX2 = 2,
  FOURTAP_SET_AVX512 = 3,
  FOURTAP_SET_PLAIN = 4, /* on every processor */
  FOURTAP_SET_NEON = 5,
  FOURTAP_SET_SIMD128 = 6, /* WebAssembly */
  FOURTAP_SET_WIDEST = 0x7fffffff,
};

typedef struct fourtap_rect {
  int x, y, cx, cy; /* cx and cy are at least 1 */
} fourtap_rect;

/* data    the lowest address, whatever the stride
 * bytes   what may be read, or written, from there on
 * stride  bytes from a line to the one below it. 0: the lines follow each other without gaps. Negative: the bottom line
 *         comes first in memory */
typedef struct fourtap_source {
  void const* data;
  size_t bytes;
  ptrdiff_t stride;
} fourtap_source;
typedef struct fourtap_target {
  void* data;
  size_t bytes;
  ptrdiff_t stride;
} fourtap_target;

/* What scales pictures of one layout from one size to another: tables, scratch lines, and the progress of a frame. */
typedef struct fourtap_scaler fourtap_scaler;

/* Makes a scaler, which the caller owns, and stores it in *scaler. With the widest set that the processor has. */
FOURTAP_API fourtap_status fourtap_open(fourtap_scaler** scaler, int layout, int cx_in, int cy_in, int cx_out,
                                        int cy_out);

/* Releases a scaler; null is fine. */
FOURTAP_API void fourtap_close(fourtap_scaler* scaler);

/* The sentence of this thread's last refusal; empty if there was none. Good until this thread's next refusal. */
FOURTAP_API char const* fourtap_error(void);

/* The part of the source that a part of the output is made of. Null for all of the output. */
FOURTAP_API fourtap_status fourtap_needed(fourtap_scaler const* scaler, fourtap_rect const* out, fourtap_rect* source);

/* Scales a frame, or a part of it. Refused between the first and the last lines of a frame that is being pushed.
 *   source  the picture; or, if `part` is not null, that rectangle of it alone
 *   part    holds what fourtap_needed tells for `out`; of packed layouts in even columns
 *   target  the scaled picture; or, if `out` is not null, that rectangle of it alone */
FOURTAP_API fourtap_status fourtap_scale(fourtap_scaler* scaler, fourtap_source source, fourtap_rect const* part,
                                         fourtap_target target, fourtap_rect const* out);

/* Takes a frame's next lines, and writes the output lines that they allow. Once a frame has all its lines, no more are
 * taken until fourtap_reset.
 *   source   `lines` lines of the picture, 0 or more
 *   target   where the next output line goes
 *   room     lines that the target holds, 0 or more; refused if this call has more to write. fourtap_most_written tells
 *            what is always enough
 *   written  gets the number of lines written */
FOURTAP_API fourtap_status fourtap_push(fourtap_scaler* scaler, fourtap_source source, int lines, fourtap_target target,
                                        int room, int* written);

/* Begins the next frame, whatever became of the one before. */
FOURTAP_API fourtap_status fourtap_reset(fourtap_scaler* scaler);

/* What is known of a scaler; 0 for null.
 *   fourtap_bytes         memory that it takes
 *   fourtap_set           the set in use
 *   fourtap_lines_needed  lines that must have been pushed before output line `line` can be written; 0 for a line that
 *                         is not there
 *   fourtap_most_written  a number of lines that no push of so many lines exceeds */
FOURTAP_API size_t fourtap_bytes(fourtap_scaler const* scaler);
FOURTAP_API int fourtap_set(fourtap_scaler const* scaler);
FOURTAP_API int fourtap_lines_needed(fourtap_scaler const* scaler, int line);
FOURTAP_API int fourtap_most_written(fourtap_scaler const* scaler, int lines);

/* From now on the widest set that the processor has and that is not wider than `widest`; for comparison, since all give
 * the same bytes. Refused within a frame that is being pushed. */
FOURTAP_API fourtap_status fourtap_use_set(fourtap_scaler* scaler, int widest);

/* "sse2", for instance; empty for a number that is no set. */
FOURTAP_API char const* fourtap_set_name(int set);

/* The version of the library that is linked, counted like FOURTAP_VERSION. */
FOURTAP_API int fourtap_version(void);

/* Pictures: the scalers above, and what they leave to whoever calls them. Reductions beyond 2:1, for which four taps
 * are too few, go through a filter as wide as they need; colours are multiplied by alpha before they are filtered, and
 * divided after. Lines go in and come out in the memory of a few lines.
 *
 * The bytes of output pixel (x, y) depend on the picture, the sizes and the rules alone. */

/* What the pixels of a picture are: a layout none of whose channels is alpha, by its number, or one of these. */
enum {
  FOURTAP_GRAY_ALPHA = 100, /* 2 bytes: gray, alpha */
  FOURTAP_RGB_ALPHA = 101,  /* 4 bytes: 3 colours in any order, alpha */
  FOURTAP_ALPHA_RGB = 102,  /* 4 bytes: alpha, 3 colours in any order */
};

/* What becomes of reductions. */
enum {
  FOURTAP_REDUCE_WIDELY = 0, /* a direction that shrinks to less than half is filtered as widely as it needs; equal
                                sizes pass as they are */
  FOURTAP_REDUCE_BY_FOUR_TAPS = 1, /* one pass of the scalers above, whatever the sizes */
};

/* What becomes of alpha, where a picture has it. */
enum {
  FOURTAP_ALPHA_MULTIPLY = 0,   /* colours are multiplied by it before they are filtered, and divided after */
  FOURTAP_ALPHA_STRAIGHT = 1,   /* filtered like a colour: right where colours are multiplied by alpha already */
  FOURTAP_ALPHA_DROP = 2,       /* left away: the output is FOURTAP_PLANE or FOURTAP_RGB24 */
  FOURTAP_ALPHA_BACKGROUND = 3, /* the picture is laid onto a colour; the output is FOURTAP_PLANE or FOURTAP_RGB24 */
};

typedef struct fourtap_rules {
  int pixels;                  /* a layout, or FOURTAP_GRAY_ALPHA and so on */
  int reduction;               /* FOURTAP_REDUCE_... */
  int alpha;                   /* FOURTAP_ALPHA_...; of no effect where there is none */
  unsigned char background[3]; /* for FOURTAP_ALPHA_BACKGROUND, in the order of the colours; gray is the first */
} fourtap_rules;

/* What scales pictures from one size to another by such rules. Serves one call at a time, as a scaler does. */
typedef struct fourtap_picture fourtap_picture;

/* What fourtap_picture_open would make, without making it: what of the source a part of the output (null: all of it) is
 * made of, and the memory that a picture takes. Either may be null. Refuses what fourtap_picture_open refuses, but for
 * memory and the processor. */
FOURTAP_API fourtap_status fourtap_picture_plan(fourtap_rules const* rules, int cx_in, int cy_in, int cx_out,
                                                int cy_out, fourtap_rect const* out, fourtap_rect* source,
                                                size_t* bytes);

/* Makes one, which the caller owns, and stores it in *picture. The rules are copied. */
FOURTAP_API fourtap_status fourtap_picture_open(fourtap_picture** picture, fourtap_rules const* rules, int cx_in,
                                                int cy_in, int cx_out, int cy_out);

/* Releases a picture; null is fine. */
FOURTAP_API void fourtap_picture_close(fourtap_picture* picture);

/* The part of the source that a part of the output is made of. Null for all of the output. */
FOURTAP_API fourtap_status fourtap_picture_needed(fourtap_picture const* picture, fourtap_rect const* out,
                                                  fourtap_rect* source);

/* Scales a picture, or a part of it, all of whose source is in memory; for the arguments see fourtap_scale. Refused
 * between fourtap_picture_begin and the last line written. */
FOURTAP_API fourtap_status fourtap_picture_scale(fourtap_picture* picture, fourtap_source source,
                                                 fourtap_rect const* part, fourtap_target target,
                                                 fourtap_rect const* out);

/* Begins a picture line by line, or a part of it (null: all), whatever became of the one before. */
FOURTAP_API fourtap_status fourtap_picture_begin(fourtap_picture* picture, fourtap_rect const* out);

/* Takes the next lines of the source, and writes the next lines of the output; goes on until there are no more lines to
 * take or no more room. Some lines may be held back until more have come. Refused before fourtap_picture_begin. Once
 * all output lines are written, what is left of the source is taken and forgotten.
 *   source   `lines` lines of what is needed: all of them of the part that fourtap_picture_needed tells, and no others.
 *            0 lines are fine, and refuse no address
 *   taken    gets the number of lines that were taken: fewer than `lines` only where `room` lines were written. The
 *            others are to be handed over again
 *   target   `room` lines of the output, or of the part that is made, where the next ones go
 *   written  gets the number of lines that were written */
FOURTAP_API fourtap_status fourtap_picture_push(fourtap_picture* picture, fourtap_source source, int lines, int* taken,
                                                fourtap_target target, int room, int* written);

/* Gives up what is under way. */
FOURTAP_API fourtap_status fourtap_picture_reset(fourtap_picture* picture);

/* What is known of a picture; 0 for null. Bytes per pixel of the output, memory that it takes, and the set in use. */
FOURTAP_API int fourtap_picture_pixel_bytes(fourtap_picture const* picture);
FOURTAP_API size_t fourtap_picture_bytes(fourtap_picture const* picture);
FOURTAP_API int fourtap_picture_set(fourtap_picture const* picture);

/* As fourtap_use_set. Refused between fourtap_picture_begin and the last line written. */
FOURTAP_API fourtap_status fourtap_picture_use_set(fourtap_picture* picture, int widest);

/* Formats of whole frames: planes one after the other, each of a layout of its own. */
typedef struct fourtap_plane {
  int layout;
  int columns, lines; /* pixels of the frame, across and down, for each pixel of the plane. Where the frame's size is no
                         multiple, the last ones are fewer: a plane measures the size divided and rounded up */
} fourtap_plane;

typedef struct fourtap_format {
  char const* names; /* in small letters, one blank between two: the usual name first, then others for the same */
  int plane_count;
  fourtap_plane planes[4];
} fourtap_format;

/* All formats there are: format number 0 and on, null behind the last one. */
FOURTAP_API fourtap_format const* fourtap_format_at(int number);
/* By one of its names, in any case; null for an unknown one. */
FOURTAP_API fourtap_format const* fourtap_format_named(char const* name);

/* What a plane of a frame measures, in its own pixels. The format may be a host's own. */
FOURTAP_API fourtap_status fourtap_plane_size(fourtap_format const* format, int plane, int cx, int cy, int* plane_cx,
                                              int* plane_cy);

#ifdef __cplusplus
}
#endif

#endif
