// The entry table as built: every export is a landing stub that jumps through its own slot,
// the slots are filled by the loader's relative relocations inside the read-only-after-
// relocation segment, each slot leads to the implementation of the same name, and nothing but
// the exports is visible.
#include <dlfcn.h>

#include <map>
#include <set>

#include "zel_test_kit.h"

namespace {

using zt::ElfReader;

const ElfReader& libzeli() {
    static const ElfReader elf(ZEL_TEST_LIBZELI);
    return elf;
}

// Where the library this test is linked with was loaded.
uintptr_t loadedBase() {
    static const uintptr_t base = [] {
        Dl_info info{};
        EXPECT_TRUE(dladdr(dlsym(RTLD_DEFAULT, "zeliGetLibVersion"), &info));
        return (uintptr_t)info.dli_fbase;
    }();
    return base;
}

struct Stub {
    std::string name;
    uint64_t slot;  // file virtual address of the slot it jumps through
};

// Decodes every export's stub; fails the test on a stub of any other form.
std::vector<Stub> stubs() {
    std::vector<Stub> out;
    for (auto& e : zt::exportTable()) {
        const zt::ElfSymbol* s = libzeli().symbol(e.name, true);
        if (!s) {
            ADD_FAILURE() << e.name << " is not in the dynamic symbol table";
            continue;
        }
        const uint8_t* b = libzeli().at(s->value, 10);
        static const uint8_t head[] = {0xf3, 0x0f, 0x1e, 0xfa, 0xff, 0x25};
        if (!b || memcmp(b, head, sizeof head) != 0) {
            ADD_FAILURE() << e.name << ": stub is not endbr64; jmp *disp32(%rip)";
            continue;
        }
        int32_t disp;
        memcpy(&disp, b + 6, 4);
        out.push_back({e.name, s->value + 10 + (int64_t)disp});
    }
    return out;
}

TEST(EntryTable, DynamicSymbolTableHoldsExactlyTheExports) {
    ASSERT_TRUE(libzeli().ok()) << ZEL_TEST_LIBZELI;
    std::set<std::string> expected, defined;
    for (auto& e : zt::exportTable()) expected.insert(e.name);
    for (auto& s : libzeli().symbols(true)) {
        if (!s.defined()) continue;
        defined.insert(s.name);
        EXPECT_TRUE(expected.count(s.name)) << "exported but not in the export list: " << s.name;
        if (!expected.count(s.name)) continue;
        EXPECT_EQ(s.type, (unsigned)STT_FUNC) << s.name;
        EXPECT_EQ(s.bind, (unsigned)STB_GLOBAL) << s.name;
        EXPECT_EQ(s.visibility, (unsigned)STV_DEFAULT) << s.name;
        // The running library is this file, and the name resolves to its own address.
        EXPECT_EQ((uintptr_t)dlsym(RTLD_DEFAULT, s.name.c_str()), loadedBase() + s.value) << s.name;
    }
    for (auto& n : expected) EXPECT_TRUE(defined.count(n)) << "not exported: " << n;
}

TEST(EntryTable, StubsLandAndJumpThroughDistinctSlots) {
    auto all = stubs();
    ASSERT_EQ(all.size(), zt::exportTable().size());
    const zt::ElfSymbol* table = libzeli().symbol("zel_slots", false);
    std::map<uint64_t, std::string> bySlot;
    for (auto& s : all) {
        EXPECT_EQ(s.slot % 8, 0u) << s.name;
        auto [it, fresh] = bySlot.emplace(s.slot, s.name);
        EXPECT_TRUE(fresh) << s.name << " shares its slot with " << it->second;
        if (table) {
            EXPECT_GE(s.slot, table->value) << s.name;
            EXPECT_LT(s.slot, table->value + table->size) << s.name;
        }
    }
    if (table) {
        EXPECT_EQ(table->size, 8 * all.size()) << "one 8-byte slot per export, no more";
    }
}

TEST(EntryTable, SlotsAreRelativeRelocationsInsideRelro) {
    auto all = stubs();
    ASSERT_FALSE(all.empty());
    uint64_t lo = UINT64_MAX, hi = 0;
    for (auto& s : all) lo = std::min(lo, s.slot), hi = std::max(hi, s.slot + 8);
    EXPECT_EQ(hi - lo, 8 * all.size()) << "the slots are not one contiguous table";

    std::map<uint64_t, std::vector<Elf64_Rela>> relocs;
    for (auto& r : libzeli().relocations())
        if (r.r_offset + 8 > lo && r.r_offset < hi) relocs[r.r_offset].push_back(r);
    for (auto& s : all) {
        auto it = relocs.find(s.slot);
        ASSERT_NE(it, relocs.end()) << s.name << ": its slot has no relocation";
        ASSERT_EQ(it->second.size(), 1u) << s.name << ": more than one relocation fills its slot";
        EXPECT_EQ(ELF64_R_TYPE(it->second[0].r_info), (unsigned)R_X86_64_RELATIVE) << s.name;
    }
    EXPECT_EQ(relocs.size(), all.size()) << "relocations touch the slot table between slots";
#ifdef DT_RELR
    EXPECT_TRUE(libzeli().dynamic(DT_RELR).empty()) << "packed relative relocations are in use";
#endif

    int relro = 0;
    for (auto& p : libzeli().segments())
        if (p.p_type == PT_GNU_RELRO) {
            ++relro;
            EXPECT_LE(p.p_vaddr, lo);
            EXPECT_GE(p.p_vaddr + p.p_memsz, hi) << "the slot table is not read-only after loading";
        }
    EXPECT_EQ(relro, 1);
}

TEST(EntryTable, EachSlotLeadsToTheImplementationOfItsName) {
    auto all = stubs();
    if (libzeli().symbols(false).empty()) GTEST_SKIP() << "the library carries no symbol table";
    std::map<uint64_t, int64_t> addend;
    for (auto& r : libzeli().relocations()) addend[r.r_offset] = r.r_addend;
    const uintptr_t base = loadedBase();

    for (auto& s : all) {
        const zt::ElfSymbol* impl = libzeli().symbol("n0_" + s.name, false);
        ASSERT_NE(impl, nullptr) << "no implementation symbol n0_" << s.name;
        EXPECT_EQ(impl->bind == STB_LOCAL || impl->visibility == STV_HIDDEN, true) << "n0_" << s.name;
        EXPECT_EQ((uint64_t)addend[s.slot], impl->value) << s.name << " reaches another implementation";
        // And in the loaded library the slot holds that address.
        uintptr_t loaded;
        memcpy(&loaded, (const void*)(base + s.slot), sizeof loaded);
        EXPECT_EQ(loaded, base + impl->value) << s.name;
    }
}

TEST(Libraries, NeededOnlyTheCoreLibraryAndTheSystem) {
#ifdef ZEL_TEST_SANITIZE
    GTEST_SKIP() << "sanitizer runtimes are NEEDED in this build";
#endif
    std::set<std::string> zeliAllowed = {"libzelcore.so.10", "libm.so.6", "libc.so.6"};
    std::set<std::string> coreAllowed = {"libc.so.6", "libm.so.6"};
    for (auto& n : libzeli().needed()) EXPECT_TRUE(zeliAllowed.count(n)) << "libzeli needs " << n;
    zt::ElfReader core(ZEL_TEST_LIBZELCORE);
    ASSERT_TRUE(core.ok());
    for (auto& n : core.needed()) EXPECT_TRUE(coreAllowed.count(n)) << "libzelcore needs " << n;
}

}  // namespace
