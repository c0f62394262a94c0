// A small reader of 64-bit ELF shared objects for tests that check what the linker produced:
// symbols (.symtab and .dynsym), relocations, program headers, NEEDED entries and the bytes
// at a virtual address. The whole file is read into memory; nothing is mapped or executed.
#pragma once

#include <elf.h>
#include <stdint.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace zt {

struct ElfSymbol {
    std::string name;
    uint64_t value = 0, size = 0;
    unsigned type = 0, bind = 0, visibility = 0;
    uint16_t shndx = 0;
    bool defined() const { return shndx != SHN_UNDEF; }
};

class ElfReader {
public:
    explicit ElfReader(const std::string& path) {
        std::ifstream f(path, std::ios::binary);
        data_.assign(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
        if (data_.size() < sizeof(Elf64_Ehdr) || memcmp(data_.data(), ELFMAG, SELFMAG) != 0 ||
            data_[EI_CLASS] != ELFCLASS64) {
            data_.clear();
            return;
        }
        ehdr_ = (const Elf64_Ehdr*)data_.data();
        for (int i = 0; i < ehdr_->e_shnum; ++i)
            sections_.push_back(*(const Elf64_Shdr*)(data_.data() + ehdr_->e_shoff + i * ehdr_->e_shentsize));
        for (int i = 0; i < ehdr_->e_phnum; ++i)
            segments_.push_back(*(const Elf64_Phdr*)(data_.data() + ehdr_->e_phoff + i * ehdr_->e_phentsize));
        for (auto& s : sections_) {
            if (s.sh_type == SHT_SYMTAB) read_symbols(s, symtab_);
            if (s.sh_type == SHT_DYNSYM) read_symbols(s, dynsym_);
        }
    }

    bool ok() const { return !data_.empty(); }
    const std::vector<Elf64_Phdr>& segments() const { return segments_; }
    const std::vector<ElfSymbol>& symbols(bool dynamic) const { return dynamic ? dynsym_ : symtab_; }

    const ElfSymbol* symbol(const std::string& name, bool dynamic) const {
        for (auto& s : symbols(dynamic))
            if (s.name == name) return &s;
        return nullptr;
    }

    // Every relocation with an addend, of every SHT_RELA section.
    std::vector<Elf64_Rela> relocations() const {
        std::vector<Elf64_Rela> out;
        for (auto& s : sections_)
            if (s.sh_type == SHT_RELA)
                for (uint64_t off = 0; off + sizeof(Elf64_Rela) <= s.sh_size; off += sizeof(Elf64_Rela))
                    out.push_back(*(const Elf64_Rela*)(data_.data() + s.sh_offset + off));
        return out;
    }

    // Entries of the dynamic section with the given tag (DT_NEEDED, DT_RELR ...).
    std::vector<uint64_t> dynamic(int64_t tag) const {
        std::vector<uint64_t> out;
        for (auto& s : sections_)
            if (s.sh_type == SHT_DYNAMIC)
                for (uint64_t off = 0; off + sizeof(Elf64_Dyn) <= s.sh_size; off += sizeof(Elf64_Dyn)) {
                    auto* d = (const Elf64_Dyn*)(data_.data() + s.sh_offset + off);
                    if (d->d_tag == tag) out.push_back(d->d_un.d_val);
                }
        return out;
    }

    // NEEDED names live in the string table the dynamic section links to.
    std::vector<std::string> needed() const {
        std::vector<std::string> out;
        for (auto& s : sections_)
            if (s.sh_type == SHT_DYNAMIC)
                for (uint64_t v : dynamic(DT_NEEDED)) out.push_back((const char*)data_.data() + sections_[s.sh_link].sh_offset + v);
        return out;
    }

    // The file bytes that are loaded at vaddr, or null when no loaded segment holds n bytes there.
    const uint8_t* at(uint64_t vaddr, uint64_t n) const {
        for (auto& p : segments_)
            if (p.p_type == PT_LOAD && vaddr >= p.p_vaddr && vaddr + n <= p.p_vaddr + p.p_filesz)
                return data_.data() + p.p_offset + (vaddr - p.p_vaddr);
        return nullptr;
    }

private:
    void read_symbols(const Elf64_Shdr& s, std::vector<ElfSymbol>& out) {
        const Elf64_Shdr& strs = sections_[s.sh_link];
        for (uint64_t off = sizeof(Elf64_Sym); off + sizeof(Elf64_Sym) <= s.sh_size; off += sizeof(Elf64_Sym)) {
            auto* e = (const Elf64_Sym*)(data_.data() + s.sh_offset + off);
            ElfSymbol sym;
            sym.name = (const char*)data_.data() + strs.sh_offset + e->st_name;
            sym.value = e->st_value, sym.size = e->st_size;
            sym.type = ELF64_ST_TYPE(e->st_info), sym.bind = ELF64_ST_BIND(e->st_info);
            sym.visibility = ELF64_ST_VISIBILITY(e->st_other), sym.shndx = e->st_shndx;
            out.push_back(std::move(sym));
        }
    }

    std::vector<uint8_t> data_;
    const Elf64_Ehdr* ehdr_ = nullptr;
    std::vector<Elf64_Shdr> sections_;
    std::vector<Elf64_Phdr> segments_;
    std::vector<ElfSymbol> symtab_, dynsym_;
};

}  // namespace zt
