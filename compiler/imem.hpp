// IMEM: the compiled program, one flat array of instructions.
#pragma once

#include <cstdint>

#include "object/ap.hpp"

namespace qor {

// ORDER KIND: the machine's dispatch and the listing follow these numbers.
enum Instruction_kind : uint8_t {
    KIND_PUSH = 0,
    KIND_POP = 1,
    KIND_PUSHAP = 2,
    KIND_POPAP = 3,
    KIND_RETURN = 5,
    KIND_GOTO = 6,
    KIND_IGOTO = 7,
    KIND_PEND = 8,
    KIND_PUSH_REF = 9,
    KIND_PUSHAP_REF = 10,
};

// How the machine's loop runs the instruction: what is common has a short way
// of its own, marked when it is emitted. A mark is a hint: the machine leaves the
// short way wherever a case is not the common one, and goes by the kind.
enum Short_way : uint8_t {
    WAY_NONE = 0,
    WAY_PUSH_SCALAR, // PUSH of an int, real, boolean or long
    WAY_PUSH_INT,    // PUSH of an int right before a PUSHAP, perhaps an operator
    WAY_PUSH_TEXT,   // the same with a text
    WAY_PUSHAP,
    WAY_PUSHAP_INT, // PUSHAP right before such a PUSH of an int: perhaps the left operand
    WAY_POPAP,      // with the node of the whole name
    WAY_GOTO,
    WAY_IGOTO,
};

struct Instruction {
    uint8_t kind;
    uint8_t way;        // Short_way
    uint32_t target;    // instruction index of GOTO and IGOTO
    QOR_OBJECT *object; // constant; of POPAP the last component of the name
    Ap *path;           // belongs to the tree; of POPAP the container's
    Ap *stored;         // POPAP: the node of the whole name, null when it has none
    uint32_t source;    // number in the map SOURCES, 0 when none
    uint32_t line;
    uint32_t break_flag;
};

// The program's limit. The table has one row more, which the scan for a break
// flag may look at.
inline constexpr uint32_t IMEM_LIMIT = 80000;
inline constexpr uint32_t IMEM_NO_ADDRESS = UINT32_MAX;

// Emitters write the row at the count with the source and line of the moment.
// The 80,000th instruction is written and then aborts: "program too large".
void IMEM_EMIT_PUSH_OBJECT(QOR_OBJECT *object); // copies
void IMEM_EMIT_PUSH_STRING(STRNG text);
void IMEM_EMIT_PUSHAP(STRNG name);
void IMEM_EMIT_PUSHAP_REF(STRNG name);
void IMEM_EMIT_POPAP(STRNG name);
void IMEM_EMIT_RETURN();
void IMEM_EMIT_GOTO(uint32_t target);
void IMEM_EMIT_IGOTO(uint32_t target);
void IMEM_EMIT_PEND();

// The emitters read source and line through these two addresses.
void IMEM_SET_SOURCE(const uint32_t *source, const uint32_t *line);
void IMEM_PATCH(int32_t index, uint32_t target);
// Sets the break flag of the first instruction of a line, and of no other one.
void IMEM_SET_BREAKPOINT(uint32_t source, uint32_t line, uint32_t value);
uint32_t IMEM_GET_COUNT();
uint32_t IMEM_GET_START();
Instruction *IMEM_GET_INSTRUCTION(uint32_t index);
void IMEM_DISPLAY_INSTRUCTION(uint32_t index);
void IMEM_DISPLAY();

extern Instruction imem_program[IMEM_LIMIT + 1];
// The program counter: the instruction that is fetched next.
extern Instruction *imem_next;

inline void IMEM_SET_PC(uint32_t address) { imem_next = imem_program + address; }
inline Instruction *IMEM_FETCH() { return imem_next++; }

} // namespace qor
