// foreign.h: programs for another processor, which qemu runs.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "launch.h"

namespace routerbox {

// How such a program is run.
struct Emulator {
  std::string qemu;            // the program, absolute
  std::string root;            // with the target's loader and libraries; empty: the program needs none
  std::string libraries = {};  // a folder of more of them; may be empty
  std::vector<std::string> words(const std::string& program, const std::vector<std::string>& given) const;
};

// None for a program of this machine's, and for scripts. Its libraries are those of the first of these that has its
// loader: `roots`; this build's sysroot, together with its preset's library; Debian's cross compiler. `own_folder` is
// routerbox's. Throws Failure when qemu or the libraries are missing.
std::optional<Emulator> emulator_for(const std::string& program, const std::vector<std::string>& roots,
                                     const std::string& own_folder);

// Where it would look: all of these folders that are there.
std::vector<std::string> foreign_libraries(const std::vector<std::string>& roots,
                                           const std::string& own_folder);

// What the program is for, as in qemu's names: "mipsel"; kAnyProcessor for a script.
std::string processor_of(const std::string& program);
inline constexpr const char* kAnyProcessor = "any";

// Makes the launch one of the emulator.
void emulate(const std::optional<Emulator>& emulator, Launch* launch);

}  // namespace routerbox
