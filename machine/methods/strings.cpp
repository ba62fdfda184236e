// Texts as a whole: joined, searched, changed, justified.
#include "machine/methods/texts.hpp"
#include "qor/qorio.h"

namespace qor {

namespace {

// --- joining -----------------------------------------------------------------------

// Appends in place: the string stays the same object, also a NULL one, whose
// store is appended to while it stays NULL.
void app() {
    if (!objects_on_top(2)) return;
    QOR_OBJECT *right = *stack_slot(0);
    QOR_OBJECT *left = *stack_slot(1);
    if (type_of(left) != TYPE_STRING) {
        QORCPU_POP();
        return OBJ_assert_type(left, TYPE_STRING);
    }
    Int_digits digits;
    if (const std::string_view text = usual_text(right, digits); text.data() && right != left) [[likely]] {
        normalize_string(left);
        strng_append(string_of(left), text);
        return discard_top();
    }
    Work_text work;
    std::string_view text = rendered(right, *work);
    if (right == left) {
        work->assign(text);
        text = work->text();
    }
    normalize_string(left);
    strng_append(string_of(left), text);
    discard_top();
}

// --- searching ----------------------------------------------------------------------

void push_position(size_t position) {
    if (position == std::string_view::npos) {
        QORCPU_PUSH_UNDEF_INT();
    } else {
        qorcpu_push_int(static_cast<int32_t>(position));
    }
}

// The string stays on the stack, as an object of the stack's own; the position
// takes the place of what was searched for.
template <class Find> void locate(Find find) {
    if (!texts_on_top(2)) return;
    const std::string_view search = operand_text(0);
    const size_t position = search.empty() ? std::string_view::npos : find(operand_text(1), search);
    unshare(stack_slot(1));
    qorcpu_drop();
    push_position(position);
}

void loc() {
    locate([](std::string_view text, std::string_view search) { return text.find(search); });
}

// Overlapping occurrences count.
void locr() {
    locate([](std::string_view text, std::string_view search) { return text.rfind(search); });
}

// Two results, although one is registered.
void locchar() {
    if (!texts_on_top(1)) return;
    const size_t position = operand_text(0).find_first_not_of("0123456789");
    unshare(stack_slot(0));
    push_position(position);
}

void len() {
    if (!texts_on_top(1)) return;
    const size_t length = operand_text(0).size();
    qorcpu_drop();
    qorcpu_push_int(static_cast<int32_t>(length));
}

// Whether the part of a text that prepare selects for the substring's length
// equals the substring.
template <class Prepare> void compare_part(Prepare prepare) {
    if (!texts_on_top(2)) return;
    const std::string_view substring = operand_text(0);
    STRNG_CURSOR part;
    prepare(borrow(operand_text(1)), static_cast<uint32_t>(substring.size()), &part);
    uint8_t order;
    STRNG_COMPARE(borrow(view(part)), borrow(substring), &order);
    qorcpu_release_top();
    qorcpu_drop();
    qorcpu_push_boolean(order == 1);
}

// Kept: an empty substring selects the whole text on either side, so only an
// empty text starts or ends with it.
void starts_with() {
    compare_part([](STRNG text, uint32_t n, STRNG_CURSOR *part) {
        if (n == 0) {
            STRNG2_PREPX(text, part);
        } else {
            STRNG_PREPX(text, 0, n - 1, part);
        }
    });
}

void ends_with() { compare_part(STRNG2_PREP_LAST); }

// --- changing -------------------------------------------------------------------------

template <void (*change)(STRNG *)> void change_text() {
    if (texts_on_top(1)) change(own_text(0));
}

// First bytes of two texts; where one is empty there is nothing to replace.
void replace_char() {
    if (!texts_on_top(3)) return;
    const std::string_view from = operand_text(1);
    const std::string_view to = operand_text(0);
    if (!from.empty() && !to.empty()) {
        const auto old_byte = static_cast<uint8_t>(from[0]);
        const auto new_byte = static_cast<uint8_t>(to[0]);
        STRNG *text = own_text(2);
        for (uint32_t i = 0; i < text->length; ++i) {
            if (text->data[i] == old_byte) text->data[i] = new_byte;
        }
    } else {
        unshare(stack_slot(2));
    }
    qorcpu_release_top();
    qorcpu_release_top();
}

// Unlike the other methods this one takes NULLs: they leave the string as it is.
void replace_string() {
    bool strings = qorcpu_stack_top >= 3;
    bool defined = true;
    for (int32_t depth = 0; strings && depth < 3; ++depth) {
        QOR_OBJECT *o = *stack_slot(depth);
        strings = o && type_of(o) == TYPE_STRING;
        defined = defined && strings && is_defined(o);
    }
    if (!strings) {
        for (int32_t i = 0; i < 3; ++i) {
            Object_var operand;
            QORCPU_POP_OBJ_TYPED(&operand, TYPE_STRING);
        }
        return;
    }
    if (defined) {
        STRNG *text = own_text(2);
        STRNG2_REPLACE(text, borrow(operand_text(1)), borrow(operand_text(0)));
    } else {
        unshare(stack_slot(2));
    }
    qorcpu_release_top();
    qorcpu_release_top();
}

// --- justifying -------------------------------------------------------------------------

// Pops a width, used in 16 bits, and any object; false when there is none.
bool pop_trimmed(uint32_t *width, Strng &text) {
    *width = static_cast<uint16_t>(qorcpu_pop_int());
    if (!objects_on_top(1)) return false;
    Work_text work;
    text.assign(rendered(*stack_slot(0), *work));
    STRNG2_TRIM(&text);
    discard_top();
    return true;
}

void ljust() {
    Work_text text;
    uint32_t width;
    if (!pop_trimmed(&width, *text)) return;
    STRNG_ALIGN(&*text, width);
    qorcpu_push_text(text->text());
}

void rjust() {
    Work_text text, padded;
    uint32_t width;
    if (!pop_trimmed(&width, *text)) return;
    const auto length = static_cast<uint32_t>(text->text().size());
    if (length < width) STRNG_ALIGN(&*padded, width - length);
    padded->append(text->text());
    qorcpu_push_text(padded->text());
}

// --- paths --------------------------------------------------------------------------------

void expand_path() {
    if (!texts_on_top(1)) return;
    Work_text path;
    if (QORIO_EXPAND_QOR_PATH(borrow(operand_text(0)), &*path)) {
        qorcpu_drop();
        qorcpu_push_text(path->text());
    } else {
        unshare(stack_slot(0));
    }
}

void expand_qor_path() {
    if (!texts_on_top(1)) return;
    Work_text path;
    const bool found = QORIO_EXPAND_QOR_PATH(borrow(operand_text(0)), &*path) != 0;
    qorcpu_drop();
    if (found) qorcpu_push_text(path->text());
    qorcpu_push_boolean(found);
}

constexpr Native_method TABLE[] = {
    {"APP", app, 2, 1, 'P', "[s s1,s s2][s s1s2]"},
    {"LOC", loc, 2, 2, 'P', "[s string,s search][s string,i pos]"},
    {"LOCCHAR", locchar, 1, 1, 'P', "[s string][i pos]"},
    {"LOCR", locr, 2, 2, 'P', "[s string,s search][s string,i pos]"},
    {"LEN", len, 1, 1, 'P', "[s string][i length]"},
    {"TO_UPPER", change_text<STRNG2_TO_UPPER>, 1, 1, 'P', "[s string][s string]"},
    {"TO_LOWER", change_text<STRNG2_TO_LOWER>, 1, 1, 'P', "[s string][s string]"},
    {"TRIM", change_text<STRNG2_TRIM>, 1, 1, 'P', "[s string][s string]"},
    {"TRIMR", change_text<STRNG2_TRIM_RIGHT>, 1, 1, 'P', "[s string][s string]"},
    {"STARTS_WITH", starts_with, 2, 1, 'P', "[s string,s substring][b status]"},
    {"ENDS_WITH", ends_with, 2, 1, 'P', "[s string,s substring][b status]"},
    {"REPLACE_CHAR", replace_char, 3, 1, 'P', "[s string,s char1,s char2][s string]"},
    {"REPLACE_STRING", replace_string, 3, 1, 'P', "[s string,s search,s replace][s string]"},
    {"LJUST", ljust, 2, 1, 'P', ""},
    {"RJUST", rjust, 2, 1, 'P', ""},
    {"WIN_TO_DOS", change_text<STRNG2_WIN_TO_DOS>, 1, 1, 'P', ""},
    {"DOS_TO_WIN", change_text<STRNG2_DOS_TO_WIN>, 1, 1, 'P', ""},
    {"EXPAND_PATH", expand_path, 1, 1, 'P', "[s file][s file]"},
    {"EXPAND_QOR_PATH", expand_qor_path, 1, 2, 'P', "[s file][s file,b status]"},
};

} // namespace

void register_strings() { register_methods("QOR", TABLE); }

} // namespace qor
