// Re-exported entries of the outside modules. An entry is exported under the
// module's own name and jumps to wherever the bridge found it. It is a jump
// and not a call because the kernel does not know what the entries take and
// give: registers, stack and result stay as the caller and the module left them.
#pragma once

#include <cstdint>

extern "C" {
// What an entry leads to before its bridge has connected and after it has
// disconnected, when objects that outlived the module may still be released:
// does nothing and gives 0.
[[gnu::visibility("hidden")]] int64_t bridge_not_connected();
}

// The entry begins with a landing pad for indirect branches (endbr64, bti c),
// which other processors take as no operation. The aarch64 jump goes through
// x16, the register that a called function expects to be lost.
#if defined(__x86_64__)
#define QOR_FORWARD_CODE(name)                                                                                         \
    "    endbr64\n"                                                                                                    \
    "    jmp *bridge_entry_" name "(%rip)\n"
#elif defined(__aarch64__)
#define QOR_FORWARD_CODE(name)                                                                                         \
    "    hint #34\n"                                                                                                   \
    "    adrp x16, bridge_entry_" name "\n"                                                                            \
    "    ldr x16, [x16, :lo12:bridge_entry_" name "]\n"                                                                \
    "    br x16\n"
#else
#error "forward.hpp: the jump of a re-exported entry is not written for this processor"
#endif

// The pointer of an entry.
#define QOR_ENTRY_POINTER(name)                                                                                        \
    extern "C" {                                                                                                       \
    [[gnu::visibility("hidden"), gnu::used]] void *bridge_entry_##name =                                               \
        reinterpret_cast<void *>(bridge_not_connected);                                                                \
    }

// The exported operation of the same name; an exported header must declare it.
#define QOR_FORWARD(name)                                                                                              \
    static_assert(sizeof(&::name) != 0);                                                                               \
    asm(".pushsection .text\n"                                                                                         \
        "    .balign 16\n"                                                                                             \
        "    .globl " #name "\n"                                                                                       \
        "    .type " #name ", %function\n" #name ":\n"                                                                 \
        "    .cfi_startproc\n" QOR_FORWARD_CODE(#name) "    .cfi_endproc\n"                                            \
                                                       "    .size " #name ", . - " #name "\n"                          \
                                                       ".popsection\n");
