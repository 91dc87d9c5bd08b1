// The atom tree of a movie file as the container engine parses it: top-level
// atoms found by walking the file, each (other than media data and free
// space) parsed by the engine's own atom classes, with the engine's dump of
// each atom's fields. Printed as indented text or as JSON by `qtmovie atoms`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qtmovie {

struct AtomNode {
  std::string type;  // four characters, valid UTF-8
  std::uint64_t offset = 0, size = 0;
  bool offsetKnown = true;          // false where the parsed form does not fix it
  std::vector<std::string> fields;  // the engine's dump lines for this atom, without indentation
  std::vector<AtomNode> children;
  std::string error;  // why the engine could not parse it, if it could not
};

// Throws Failure when the file cannot be read. `maxDepth` 0 means no limit.
std::vector<AtomNode> readAtomTree(const std::string& path, int maxDepth);
std::string atomTreeText(const std::vector<AtomNode>& atoms);
std::string atomTreeJson(const std::vector<AtomNode>& atoms);

}  // namespace qtmovie
