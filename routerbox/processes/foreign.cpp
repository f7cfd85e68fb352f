#include "foreign.h"

#include <elf.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>

#include "../support/nearest.h"
#include "../support/programs.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

struct Processor {
  unsigned char wide, order;  // as in a program's header
  unsigned machine;
  const char* name;      // in qemu's programs and the build's folders
  const char* compiler;  // Debian's name of it
};
constexpr Processor kProcessors[] = {
    {ELFCLASS32, ELFDATA2LSB, EM_MIPS, "mipsel", "mipsel-linux-gnu"},
    {ELFCLASS32, ELFDATA2MSB, EM_MIPS, "mips", "mips-linux-gnu"},
    {ELFCLASS64, ELFDATA2LSB, EM_MIPS, "mips64el", "mips64el-linux-gnuabi64"},
    {ELFCLASS64, ELFDATA2MSB, EM_MIPS, "mips64", "mips64-linux-gnuabi64"},
    {ELFCLASS32, ELFDATA2LSB, EM_ARM, "arm", "arm-linux-gnueabihf"},
    {ELFCLASS64, ELFDATA2LSB, EM_AARCH64, "aarch64", "aarch64-linux-gnu"},
    {ELFCLASS64, ELFDATA2LSB, EM_X86_64, "x86_64", "x86_64-linux-gnu"},
    {ELFCLASS32, ELFDATA2LSB, EM_RISCV, "riscv32", "riscv32-linux-gnu"},
    {ELFCLASS64, ELFDATA2LSB, EM_RISCV, "riscv64", "riscv64-linux-gnu"},
    {ELFCLASS32, ELFDATA2MSB, EM_PPC, "ppc", "powerpc-linux-gnu"},
    {ELFCLASS64, ELFDATA2LSB, EM_PPC64, "ppc64le", "powerpc64le-linux-gnu"},
};

// The numbers of a program file, whatever its width and byte order. What is not in the file reads as 0.
class ProgramFile {
 public:
  explicit ProgramFile(const std::string& path) : file_(path, std::ios::binary) {
    std::array<char, EI_NIDENT> head{};
    if (!file_.read(head.data(), head.size()) || std::string_view(head.data(), SELFMAG) != ELFMAG) return;
    wide_ = static_cast<unsigned char>(head[EI_CLASS]);
    order_ = static_cast<unsigned char>(head[EI_DATA]);
    machine_ = static_cast<unsigned>(number(offsetof(Elf32_Ehdr, e_machine), 2));  // the same in both widths
  }

  const Processor* processor() const {
    const auto* const found =
        std::find_if(std::begin(kProcessors), std::end(kProcessors), [this](const Processor& row) {
          return row.wide == wide_ && row.order == order_ && row.machine == machine_;
        });
    return found == std::end(kProcessors) ? nullptr : found;
  }

  // Empty: it has none.
  std::string loader() {
    return wide_ == ELFCLASS64 ? loader<Elf64_Ehdr, Elf64_Phdr>() : loader<Elf32_Ehdr, Elf32_Phdr>();
  }

 private:
  template <class Header, class Segment>
  std::string loader() {
    const uint64_t table = number(offsetof(Header, e_phoff), sizeof Header::e_phoff);
    const uint64_t count = number(offsetof(Header, e_phnum), sizeof Header::e_phnum);
    for (uint64_t row = table; row < table + count * sizeof(Segment); row += sizeof(Segment)) {
      if (number(row + offsetof(Segment, p_type), sizeof Segment::p_type) != PT_INTERP) continue;
      file_.clear();
      file_.seekg(
          static_cast<std::streamoff>(number(row + offsetof(Segment, p_offset), sizeof Segment::p_offset)));
      std::string path;
      std::getline(file_, path, '\0');
      return path;
    }
    return {};
  }

  uint64_t number(uint64_t place, size_t size) {
    std::array<unsigned char, 8> bytes{};
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(place));
    file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    if (order_ == ELFDATA2LSB) std::reverse(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) value = value << 8U | bytes[i];
    return value;
  }

  std::ifstream file_;
  unsigned char wide_ = 0, order_ = 0;
  unsigned machine_ = 0;
};

std::string find_qemu(const std::string& program, const Processor& processor) {
  const std::string qemu = std::string("qemu-") + processor.name;
  for (const std::string& name : {qemu, qemu + "-static"}) try {
      return find_program(name);
    } catch (const Failure&) {
    }
  throw Failure(program + " is a program for " + processor.name + ", and " + qemu +
                    ", which would run it, was not found; run: sudo apt-get install qemu-user",
                kNotExecutable);
}

// The loader tells whether the folder is one of this processor.
bool fits(const std::string& root, const std::string& loader, const Processor* processor) {
  return ProgramFile(root + loader).processor() == processor;
}

std::string real(const fs::path& path) {
  std::error_code error;
  const fs::path found = fs::canonical(path, error);
  return error ? std::string() : found.string();
}

}  // namespace

std::vector<std::string> Emulator::words(const std::string& program,
                                         const std::vector<std::string>& given) const {
  std::vector<std::string> all{qemu, "-0", given.front()};
  if (!root.empty()) all.insert(all.end(), {"-L", root});
  if (!libraries.empty()) all.insert(all.end(), {"-E", "LD_LIBRARY_PATH=" + libraries});
  all.push_back(program);
  all.insert(all.end(), given.begin() + 1, given.end());
  return all;
}

std::optional<Emulator> emulator_for(const std::string& program, const std::vector<std::string>& roots,
                                     const std::string& own_folder) {
  ProgramFile file(program);
  const Processor* const processor = file.processor();
  if (processor == nullptr || processor == ProgramFile("/proc/self/exe").processor()) return std::nullopt;
  const std::string qemu = find_qemu(program, *processor), loader = file.loader();
  if (loader.empty()) return Emulator{qemu, {}};
  for (const std::string& root : roots)
    if (fits(root, loader, processor)) return Emulator{qemu, real(root)};
  const fs::path builds = fs::path(own_folder) / "../..";
  const std::string sysroot = builds / (std::string("sysroot-") + processor->name);
  if (fits(sysroot, loader, processor))
    return Emulator{qemu, real(sysroot), real(builds / processor->name / "lib")};
  const std::string compilers = std::string("/usr/") + processor->compiler;
  if (fits(compilers, loader, processor)) return Emulator{qemu, compilers};
  throw Failure(program + " is a program for " + processor->name + ", and its loader " + loader +
                    " is in none of " + list_words(roots) + (roots.empty() ? "" : ", ") + sysroot + ", " +
                    compilers + "; name the folder with the target's libraries: --target-root DIR",
                kNotExecutable);
}

std::vector<std::string> foreign_libraries(const std::vector<std::string>& roots,
                                           const std::string& own_folder) {
  std::vector<std::string> folders = roots;
  const fs::path builds = fs::path(own_folder) / "../..";
  for (const Processor& processor : kProcessors) {
    const std::string sysroot = real(builds / (std::string("sysroot-") + processor.name));
    if (sysroot.empty()) continue;
    folders.push_back(sysroot);
    if (const std::string libraries = real(builds / processor.name / "lib"); !libraries.empty())
      folders.push_back(libraries);
  }
  return folders;
}

std::string processor_of(const std::string& program) {
  const Processor* const processor = ProgramFile(program).processor();
  return processor == nullptr ? kAnyProcessor : processor->name;
}

void emulate(const std::optional<Emulator>& emulator, Launch* launch) {
  if (!emulator) return;
  launch->words = emulator->words(launch->program, launch->words);
  launch->program = emulator->qemu;
}

}  // namespace routerbox
