// SPDX-License-Identifier: Apache-2.0
#include "CodePages.h"

#include <link.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace app {

namespace {

/// dl_iterate_phdr()'s call for one loaded object.
int unmapObject(dl_phdr_info* object, std::size_t /*size*/, void* pageSizeMinus1) {
    const auto mask = *static_cast<const std::uintptr_t*>(pageSizeMinus1);
    // The kernel's own page, mapped into every process, is no file's.
    const auto kernelObject = static_cast<std::uintptr_t>(::getauxval(AT_SYSINFO_EHDR));
    for (std::size_t i = 0; i < object->dlpi_phnum; ++i) {
        const auto& segment = object->dlpi_phdr[i];
        // A segment that may be written holds what the linker filled in: that would be lost.
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0)
            continue;
        const std::uintptr_t address = object->dlpi_addr + segment.p_vaddr;
        if (kernelObject != 0 && (address & ~mask) == (kernelObject & ~mask))
            continue;
        const std::uintptr_t begin = address & ~mask;
        const std::uintptr_t end = (address + segment.p_filesz + mask) & ~mask;
        // Its only failures leave everything as it is.
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader tells addresses as numbers
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

} // namespace

void unmapCodePages() noexcept {
    auto mask = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE)) - 1;
    ::dl_iterate_phdr(unmapObject, &mask);
}

} // namespace app
