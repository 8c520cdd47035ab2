#include "platform/loadertables.h"

#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace tav {

namespace {

// Text relocations make the loader write into the read-only part: its pages
// are then the process's own copies, which unmapping would throw away.
bool hasTextRelocations(const dl_phdr_info &object)
{
    for (int i = 0; i < object.dlpi_phnum; ++i) {
        const ElfW(Phdr) &segment = object.dlpi_phdr[i];
        if (segment.p_type != PT_DYNAMIC)
            continue;
        for (auto *d = reinterpret_cast<const ElfW(Dyn) *>(object.dlpi_addr + segment.p_vaddr); d->d_tag != DT_NULL;
             ++d)
            if (d->d_tag == DT_TEXTREL || (d->d_tag == DT_FLAGS && (d->d_un.d_val & DF_TEXTREL)))
                return true;
    }
    return false;
}

// Called for each loaded object with the loader's list locked, so the object
// cannot be unloaded meanwhile. The part wanted is the loadable segment at
// the start of the file, read-only and not executable: the ELF headers, the
// symbol tables and the relocations (the kernel's vDSO has no such part).
int releaseObjectTables(dl_phdr_info *object, size_t, void *released)
{
    const ElfW(Phdr) *tables = nullptr;
    for (int i = 0; i < object->dlpi_phnum && !tables; ++i) {
        const ElfW(Phdr) &segment = object->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && segment.p_offset == 0 && segment.p_flags == PF_R)
            tables = &segment;
    }
    if (!tables || hasTextRelocations(*object))
        return 0;
    // Whole pages only: a last page shared with the next segment stays. The
    // program headers read here are in the part itself: nothing of it may be
    // read after the madvise, or it is mapped back.
    const auto page = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = std::uintptr_t(object->dlpi_addr + tables->p_vaddr) & ~(page - 1);
    const std::uintptr_t end = std::uintptr_t(object->dlpi_addr + tables->p_vaddr + tables->p_filesz) & ~(page - 1);
    if (end > begin && ::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_DONTNEED) == 0)
        *static_cast<qint64 *>(released) += qint64(end - begin);
    return 0;
}

} // namespace

qint64 releaseLoaderTables()
{
    qint64 released = 0;
    ::dl_iterate_phdr(releaseObjectTables, &released);
    return released;
}

} // namespace tav
