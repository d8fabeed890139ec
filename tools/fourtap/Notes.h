// What a file says of its picture beside the pixels.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// Pixels across and down, to the metre; or, where that is not known, just the proportions of a pixel.
struct Density {
  uint32_t x, y;
  bool isPerMetre;
};

// A piece of a PNG file.
struct PngChunk {
  std::string name, content;
};

struct PictureNotes {
  std::vector<unsigned char> icc;   // colour profile; empty: none
  std::vector<unsigned char> exif;  // from its byte order mark on; empty: none
  std::string xmp;                  // a packet; empty: none
  std::string comment;              // empty: none
  std::optional<Density> density;
  std::vector<PngChunk> colourChunks;  // what PNG alone says of colours
  std::vector<PngChunk> textChunks;    // and of anything else
};

// Kinds of notes, for sets of them.
enum NoteKind : unsigned {
  profileNote = 1,
  colourNote = 2,  // of PNG alone
  densityNote = 4,
  exifNote = 8,
  xmpNote = 16,
  commentNote = 32,
  textNote = 64,  // of PNG alone
  allNotes = 127,
};

// The kinds that are there.
unsigned KindsOf(PictureNotes const& notes);
// Keeps those of some kinds.
void KeepNotes(PictureNotes& notes, unsigned kinds);
// For users, with commas between them.
std::string KindsText(unsigned kinds);

// Whether an ICC profile says what shades of gray mean, as its header tells; in pictures with colours it has no place.
bool IsGrayProfile(std::vector<unsigned char> const& icc);

// Kinds by the names that users have for them: colour, density, exif, xmp or text, with commas between them, or none.
// Nothing for other texts.
std::optional<unsigned> ParseNoteKinds(std::string_view text);
inline char const* const noteKindNames = "colour, density, exif, xmp or text with commas between them, or none";

}  // namespace tool
