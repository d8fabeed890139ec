// The rooms of the architecture page, and the includes that are found in them: each room knows those that the page
// says, and what these know.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

using Rooms = std::map<std::string, std::set<std::string>>;

// The page's block of rooms, a line each: "room", or "room -> other, other" for those that it knows.
Rooms ReadRooms() {
  std::ifstream page(SOURCE_FOLDER "/docs/architecture.md");
  Rooms knows;
  bool inBlock = false;
  for (std::string line; std::getline(page, line);) {
    if (line == "```rooms") {
      inBlock = true;
    } else if (line == "```") {
      inBlock = false;
    } else if (inBlock) {
      std::istringstream names(std::regex_replace(line, std::regex("->|,"), " "));
      std::string room;
      names >> room;
      knows[room];
      for (std::string known; names >> known;) knows[room].insert(known);
    }
  }
  return knows;
}

void AddAllKnown(Rooms const& knows, std::string const& room, std::set<std::string>& all) {
  if (!all.insert(room).second) return;
  for (std::string const& known : knows.at(room)) AddAllKnown(knows, known, all);
}

std::string RoomOf(Rooms const& knows, fs::path folder) {
  while (!folder.empty() && !knows.contains(folder.string())) folder = folder.parent_path();
  return folder.string();
}

// The folder of an included file, where the include directories are the source folder, src, tools and a processor's.
fs::path FolderOfIncluded(std::string const& name, fs::path const& includer) {
  for (fs::path const& base : {fs::path(), fs::path("src"), fs::path("tools"), fs::path("include"),
                               fs::path("processors/x86_64"), includer.parent_path()}) {
    if (fs::exists(SOURCE_FOLDER / base / name)) return (base / name).parent_path();
  }
  return {};
}

TEST(ArchitecturePage, IncludesGoTheWayItShows) {
  Rooms const knows = ReadRooms();
  ASSERT_GE(knows.size(), 10u);
  std::regex const include(R"(^\s*#\s*include\s*[<"]([^">]+))");
  std::set<std::string> const sources{".h", ".hpp", ".c", ".cpp"};
  std::set<std::string> roomsWithFiles;
  for (char const* top :
       {"src", "conformance", "tools", "bench", "fuzz", "processors", "variants", "include", "examples", "bindings"}) {
    for (fs::directory_entry const& entry : fs::recursive_directory_iterator(fs::path(SOURCE_FOLDER) / top)) {
      if (!sources.contains(entry.path().extension().string())) continue;
      fs::path const file = fs::relative(entry.path(), SOURCE_FOLDER);
      std::string const room = RoomOf(knows, file.parent_path());
      EXPECT_NE(room, "") << file << " lies in no room";
      if (room.empty()) continue;
      roomsWithFiles.insert(room);
      std::set<std::string> known;
      AddAllKnown(knows, room, known);
      std::ifstream stream(entry.path());
      std::smatch name;
      for (std::string line; std::getline(stream, line);) {
        if (!std::regex_search(line, name, include)) continue;
        fs::path const folder = FolderOfIncluded(name[1], file);
        if (folder.empty()) continue;  // not of this project
        std::string const other = RoomOf(knows, folder);
        EXPECT_TRUE(known.contains(other) || other == "include/fourtapscale")
            << file << " includes " << name[1] << ", but " << room << " does not know " << other;
        bool const ofBinding =
            file.string().starts_with("bindings/") && file.string().find("/tests/") == std::string::npos;
        EXPECT_TRUE(!ofBinding || other != "include/fourtapscale" || name[1] == "fourtapscale/fourtap.h")
            << file << " includes " << name[1] << ", but bindings stand on fourtap.h alone";
      }
    }
  }
  for (auto const& [room, others] : knows) EXPECT_TRUE(roomsWithFiles.contains(room)) << room << " is empty";
}

}  // namespace
