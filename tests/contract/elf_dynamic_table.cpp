#include "elf_dynamic_table.h"

#include <elf.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace contract_probe {
namespace {

class Elf_file {
public:
    explicit Elf_file(const std::string& path) : path_(path) {
        std::ifstream in(path, std::ios::binary | std::ios::ate);
        const std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : -1;
        if (size < 0) {
            fail("cannot open");
        }
        bytes_.resize(static_cast<std::size_t>(size));
        if (!in.seekg(0).read(bytes_.data(), size)) {
            fail("cannot read");
        }
    }

    // Records are copied out rather than pointed at: the file's bytes carry no alignment and no
    // object lifetime.
    template <class Record>
    Record record_at(std::uint64_t offset) const {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Record)) {
            fail("record past the end of the file");
        }
        Record record;
        std::memcpy(&record, bytes_.data() + offset, sizeof record);
        return record;
    }

    /// The NUL-terminated text at `index` of the string table `table`.
    std::string text_at(const Elf64_Shdr& table, std::uint64_t index) const {
        if (index >= table.sh_size || table.sh_offset > bytes_.size() ||
            bytes_.size() - table.sh_offset < table.sh_size) {
            fail("string outside its table");
        }
        const std::size_t begin = static_cast<std::size_t>(table.sh_offset + index);
        const std::size_t end = bytes_.find('\0', begin);
        if (end == std::string::npos || end >= table.sh_offset + table.sh_size) {
            fail("unterminated string");
        }
        return bytes_.substr(begin, end - begin);
    }

    [[noreturn]] void fail(const std::string& what) const { throw std::runtime_error(path_ + ": " + what); }

private:
    std::string path_;
    std::string bytes_;
};

std::vector<Elf64_Shdr> section_headers(const Elf_file& file) {
    const auto header = file.record_at<Elf64_Ehdr>(0);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
        file.fail("not an ELF file");
    }
    if (header.e_ident[EI_CLASS] != ELFCLASS64) {
        file.fail("not a 64-bit ELF file");
    }
    const std::uint16_t probe = 1;
    unsigned char first_byte = 0;
    std::memcpy(&first_byte, &probe, 1);
    const unsigned char native = first_byte == 1 ? ELFDATA2LSB : ELFDATA2MSB;
    if (header.e_ident[EI_DATA] != native) {
        file.fail("byte order differs from this machine's");
    }
    if (header.e_shentsize != sizeof(Elf64_Shdr)) {
        file.fail("unexpected section header size");
    }
    std::vector<Elf64_Shdr> sections;
    for (std::uint16_t i = 0; i < header.e_shnum; ++i) {
        sections.push_back(file.record_at<Elf64_Shdr>(header.e_shoff + std::uint64_t{i} * sizeof(Elf64_Shdr)));
    }
    return sections;
}

const Elf64_Shdr& only_section_of_type(const Elf_file& file, const std::vector<Elf64_Shdr>& sections,
                                       std::uint32_t type, const char* what) {
    const Elf64_Shdr* found = nullptr;
    for (const auto& section : sections) {
        if (section.sh_type == type) {
            if (found != nullptr) {
                file.fail(std::string{"more than one "} + what + " section");
            }
            found = &section;
        }
    }
    if (found == nullptr) {
        file.fail(std::string{"no "} + what + " section");
    }
    return *found;
}

const Elf64_Shdr& linked_section(const Elf_file& file, const std::vector<Elf64_Shdr>& sections,
                                 const Elf64_Shdr& section) {
    if (section.sh_link == 0 || section.sh_link >= sections.size() || sections[section.sh_link].sh_type != SHT_STRTAB) {
        file.fail("section not linked to a string table");
    }
    return sections[section.sh_link];
}

}  // namespace

Dynamic_table read_dynamic_table(const std::string& path) {
    const Elf_file file(path);
    const auto sections = section_headers(file);
    Dynamic_table table;

    const Elf64_Shdr& dynsym = only_section_of_type(file, sections, SHT_DYNSYM, "dynamic symbol");
    const Elf64_Shdr& dynsym_names = linked_section(file, sections, dynsym);
    if (dynsym.sh_entsize != sizeof(Elf64_Sym)) {
        file.fail("unexpected dynamic symbol size");
    }
    // Entry 0 is the reserved null symbol.
    for (std::uint64_t i = 1; i < dynsym.sh_size / sizeof(Elf64_Sym); ++i) {
        const auto symbol = file.record_at<Elf64_Sym>(dynsym.sh_offset + i * sizeof(Elf64_Sym));
        table.symbols.push_back(Dynamic_symbol{file.text_at(dynsym_names, symbol.st_name),
                                               static_cast<unsigned char>(ELF64_ST_BIND(symbol.st_info)),
                                               static_cast<unsigned char>(ELF64_ST_TYPE(symbol.st_info)),
                                               static_cast<unsigned char>(ELF64_ST_VISIBILITY(symbol.st_other)),
                                               symbol.st_shndx != SHN_UNDEF});
    }

    const Elf64_Shdr& dynamic = only_section_of_type(file, sections, SHT_DYNAMIC, "dynamic");
    const Elf64_Shdr& dynamic_texts = linked_section(file, sections, dynamic);
    for (std::uint64_t i = 0; i < dynamic.sh_size / sizeof(Elf64_Dyn); ++i) {
        const auto entry = file.record_at<Elf64_Dyn>(dynamic.sh_offset + i * sizeof(Elf64_Dyn));
        if (entry.d_tag == DT_NULL) {
            break;
        }
        if (entry.d_tag == DT_SONAME) {
            table.soname = file.text_at(dynamic_texts, entry.d_un.d_val);
        }
    }
    return table;
}

}  // namespace contract_probe
