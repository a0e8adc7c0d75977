#pragma once
// Reads what a shared object offers to the dynamic linker straight from the file: the dynamic
// symbol table and the SONAME, found through the section headers. Lets the probe see exports as
// the loader does, independent of any tool installed on the machine.

#include <string>
#include <vector>

namespace contract_probe {

struct Dynamic_symbol {
    std::string name;          ///< as stored, mangled for C++ entities
    unsigned char binding;     ///< STB_*
    unsigned char type;        ///< STT_*
    unsigned char visibility;  ///< STV_*
    bool defined;              ///< st_shndx != SHN_UNDEF: the object provides it
};

struct Dynamic_table {
    std::vector<Dynamic_symbol> symbols;  ///< every entry of SHT_DYNSYM but the null one
    std::string soname;                   ///< DT_SONAME; empty when there is none
};

/// Reads the 64-bit ELF file at `path`, which must have this machine's byte order.
/// Throws std::runtime_error saying what is missing or malformed.
Dynamic_table read_dynamic_table(const std::string& path);

}  // namespace contract_probe
