#include "fourtap/Notes.h"

#include <algorithm>

namespace tool {

namespace {

struct NoteTraits {
  unsigned kind;
  std::string_view text;
  bool (*isThere)(PictureNotes const& notes);
  void (*remove)(PictureNotes& notes);
};

bool IsThere(std::optional<Density> const& density) { return density.has_value(); }
bool IsThere(auto const& bytes) { return !bytes.empty(); }

template <auto member>
constexpr NoteTraits Traits(unsigned kind, std::string_view text) {
  return {kind, text, [](PictureNotes const& notes) { return IsThere(notes.*member); },
          [](PictureNotes& notes) { notes.*member = {}; }};
}

constexpr NoteTraits traits[] = {
    Traits<&PictureNotes::icc>(profileNote, "ICC profile"),
    Traits<&PictureNotes::colourChunks>(colourNote, "PNG's gamma and colour space"),
    Traits<&PictureNotes::density>(densityNote, "density"),
    Traits<&PictureNotes::exif>(exifNote, "EXIF"),
    Traits<&PictureNotes::xmp>(xmpNote, "XMP"),
    Traits<&PictureNotes::comment>(commentNote, "comment"),
    Traits<&PictureNotes::textChunks>(textNote, "PNG's text"),
};

struct KindName {
  std::string_view name;
  unsigned kinds;
};
constexpr KindName kindNames[] = {
    {"colour", profileNote | colourNote},
    {"density", densityNote},
    {"exif", exifNote},
    {"xmp", xmpNote},
    {"text", commentNote | textNote},
    {"none", 0},
};

}  // namespace

unsigned KindsOf(PictureNotes const& notes) {
  unsigned kinds = 0;
  for (NoteTraits const& one : traits) kinds |= one.isThere(notes) ? one.kind : 0;
  return kinds;
}

void KeepNotes(PictureNotes& notes, unsigned kinds) {
  for (NoteTraits const& one : traits) {
    if (!(kinds & one.kind)) one.remove(notes);
  }
}

std::string KindsText(unsigned kinds) {
  std::string text;
  for (NoteTraits const& one : traits) {
    if (!(kinds & one.kind)) continue;
    if (!text.empty()) text += ", ";
    text += one.text;
  }
  return text;
}

bool IsGrayProfile(std::vector<unsigned char> const& icc) {
  size_t const place = 16;
  std::string_view const gray = "GRAY";
  return icc.size() >= place + gray.size() && std::equal(gray.begin(), gray.end(), icc.begin() + place);
}

std::optional<unsigned> ParseNoteKinds(std::string_view text) {
  unsigned kinds = 0;
  for (bool more = true; more;) {
    size_t const comma = text.find(',');
    bool known = false;
    for (KindName const& one : kindNames) {
      if (one.name != text.substr(0, comma)) continue;
      kinds |= one.kinds;
      known = true;
    }
    if (!known) return std::nullopt;
    more = comma != text.npos;
    text.remove_prefix(more ? comma + 1 : 0);
  }
  return kinds;
}

}  // namespace tool
