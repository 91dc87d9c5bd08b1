// `qtmovie atoms`: the atom tree with each atom's parsed fields, as the
// library's container engine sees the file.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "AtomTree.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"

namespace qtmovie {
namespace {

struct AtomsOptions {
  std::string movie;
  int depth = 0;
  bool json = false;
};

void runAtoms(const AtomsOptions& o) {
  const auto atoms = readAtomTree(o.movie, o.depth);
  if (atoms.empty()) throw Failure(o.movie + ": holds no atoms");
  const std::string text = o.json ? atomTreeJson(atoms) : atomTreeText(atoms);
  std::fputs(text.c_str(), output());
}

}  // namespace

void addAtomsCommand(CLI::App& root) {
  auto o = std::make_shared<AtomsOptions>();
  CLI::App* cmd = root.add_subcommand("atoms",
                                      "Dump the atom tree: offsets, sizes and each atom's parsed fields (sample "
                                      "tables, sample descriptions, edit lists, colour and aspect, metadata keys).");
  cmd->add_option("movie", o->movie, "the movie file")->required();
  cmd->add_option("--depth", o->depth, "levels to show (1 is the top level; default all)")->check(CLI::Range(1, 64));
  cmd->add_flag("--json", o->json, "JSON instead of indented text");
  cmd->callback([o] { runAtoms(*o); });
}

}  // namespace qtmovie
