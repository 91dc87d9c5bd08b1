#include "AtomTree.h"

#include <vqt/container/Atom.h>
#include <vqt/container/ByteSource.h>
#include <vqt/container/MetadataAtoms.h>

#include <algorithm>
#include <sstream>

#include "Errors.h"
#include "Json.h"
#include "ProbeJson.h"

namespace qtmovie {
namespace {

using namespace vqt::container;

// Atoms whose payload is media or padding: shown by header only, never loaded.
constexpr FourCC kUnparsed[] = {'mdat', 'free', 'skip', 'wide', 'uuid'};
// A header atom larger than this is shown by header only rather than loaded whole.
constexpr std::uint64_t kMaxParsedBytes = 256ull << 20;

std::string text(std::string_view bytes) {
  return asUtf8(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::vector<std::string> dumpLines(const Atom& atom) {
  std::ostringstream stream;
  Dumper dumper(stream);
  atom.dumpFields(dumper);
  std::vector<std::string> lines;
  std::string line;
  std::istringstream in(stream.str());
  while (std::getline(in, line)) {
    const auto start = line.find_first_not_of(' ');
    if (start != std::string::npos) lines.push_back(text(line.substr(start)));
  }
  return lines;
}

std::uint64_t writtenSize(const Atom& atom) {
  ByteWriter out;
  atom.write(out);
  return out.size();
}

AtomNode describe(const Atom& atom, std::uint64_t offset, bool offsetKnown, int depth, int maxDepth) {
  AtomNode node;
  node.type = text(fourccToString(atom.type()));
  node.offset = offset;
  node.offsetKnown = offsetKnown;
  node.size = writtenSize(atom);
  const auto* children = atom.children();
  if (children == nullptr) {
    node.fields = dumpLines(atom);
    return node;
  }
  if (maxDepth > 0 && depth >= maxDepth) {
    node.fields.push_back("children not shown (--depth): " + std::to_string(children->size()));
    return node;
  }
  // Children follow the header, and the version and flags of a full container such as 'meta'.
  std::uint64_t childOffset = offset + 8 + (dynamic_cast<const MetaAtom*>(&atom) ? 4 : 0);
  for (const auto& child : *children) {
    node.children.push_back(describe(*child, childOffset, offsetKnown, depth + 1, maxDepth));
    childOffset += node.children.back().size;
  }
  return node;
}

void textLines(const AtomNode& node, int depth, std::string& out) {
  const std::string pad(static_cast<std::size_t>(depth) * 2, ' ');
  out += pad + node.type + " size " + std::to_string(node.size);
  if (node.offsetKnown) out += " at " + std::to_string(node.offset);
  out += "\n";
  for (const std::string& field : node.fields) out += pad + "  " + field + "\n";
  if (!node.error.empty()) out += pad + "  error: " + node.error + "\n";
  for (const AtomNode& child : node.children) textLines(child, depth + 1, out);
}

void jsonNode(JsonWriter& json, const AtomNode& node) {
  json.beginObject();
  json.field("type", node.type);
  if (node.offsetKnown) json.field("offset", static_cast<long long>(node.offset));
  json.field("size", static_cast<long long>(node.size));
  json.beginArray("fields");
  for (const std::string& field : node.fields) json.value(field);
  json.endArray();
  if (!node.error.empty()) json.field("error", node.error);
  json.beginArray("children");
  for (const AtomNode& child : node.children) jsonNode(json, child);
  json.endArray();
  json.endObject();
}

}  // namespace

std::vector<AtomNode> readAtomTree(const std::string& path, int maxDepth) {
  Error error = Error::none;
  const auto source = FileSource::open(path, error);
  if (!source) throw Failure(path + ": cannot be read (" + vqt::container::describe(error) + ")");
  std::vector<AtomNode> atoms;
  std::uint64_t offset = 0;
  const std::uint64_t end = source->size();
  while (end - offset >= 8) {
    // The header alone first: the walk never loads media data.
    std::uint8_t head[16] = {};
    const std::size_t headBytes = end - offset >= 16 ? 16 : 8;
    if (!source->read(offset, std::span(head, headBytes))) throw Failure(path + ": cannot be read");
    ByteReader headReader(std::span<const std::uint8_t>(head, headBytes));
    std::uint64_t size = headReader.u32();
    const FourCC type = headReader.u32();
    std::uint64_t headerSize = 8;
    if (size == 1 && headBytes == 16) size = headReader.u64(), headerSize = 16;
    if (size == 0) size = end - offset;
    AtomNode node;
    node.type = text(fourccToString(type));
    node.offset = offset;
    node.size = size;
    if (size < headerSize || size > end - offset) {
      node.error = "atom size " + std::to_string(size) + " does not fit the file";
      atoms.push_back(std::move(node));
      break;
    }
    const bool headerOnly =
        std::find(std::begin(kUnparsed), std::end(kUnparsed), type) != std::end(kUnparsed) || size > kMaxParsedBytes;
    if (!headerOnly) {
      std::vector<std::uint8_t> bytes;
      ParseContext context;
      std::unique_ptr<Atom> atom;
      if ((error = source->readVector(offset, size, bytes)) == Error::none &&
          (error = parseSingleAtom(bytes, context, atom)) == Error::none && atom) {
        node = describe(*atom, offset, true, 1, maxDepth);
        node.size = size;  // as stored, whatever the engine would write back
      } else {
        node.error = vqt::container::describe(error);
      }
    }
    atoms.push_back(std::move(node));
    offset += size;
  }
  return atoms;
}

std::string atomTreeText(const std::vector<AtomNode>& atoms) {
  std::string out;
  for (const AtomNode& node : atoms) textLines(node, 0, out);
  return out;
}

std::string atomTreeJson(const std::vector<AtomNode>& atoms) {
  JsonWriter json;
  json.beginObject();
  json.beginArray("atoms");
  for (const AtomNode& node : atoms) jsonNode(json, node);
  json.endArray();
  json.endObject();
  return json.text() + "\n";
}

}  // namespace qtmovie
