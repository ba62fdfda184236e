// Texts that are comma lists: taken apart item by item, put together, and their
// names replaced by values.
#include <algorithm>
#include <bit>
#include <optional>

#include "machine/methods/texts.hpp"
#include "qor/lex2.h"

namespace qor {

namespace {

// --- items -----------------------------------------------------------------------

// Both lie in the text that was read.
struct Cut {
    std::string_view item;
    std::string_view rest;
};

// Behind leading blanks, up to the first byte that ends the item and is consumed.
template <class Ends> Cut cut_item(std::string_view text, Ends ends) {
    size_t begin = 0;
    while (begin < text.size() && text[begin] == ' ') ++begin;
    size_t end = begin;
    while (end < text.size() && !ends(text[end])) ++end;
    return {text.substr(begin, end - begin), text.substr(end < text.size() ? end + 1 : end)};
}

bool ends_word(char c) { return c == ',' || c == ' '; }

// Where a word ends within its first eight bytes; 8 when it is longer.
// Comma and blank differ in two bits; without those one test finds both, and "$"
// and "(" besides: the caller looks at what was found.
inline size_t end_in_eight(uint64_t bytes) {
    constexpr uint64_t EACH_BYTE = 0x0101010101010101u;
    if constexpr (std::endian::native == std::endian::big) bytes = __builtin_bswap64(bytes);
    // The lowest mark is right: a wrong one only stands behind another.
    return static_cast<size_t>(std::countr_zero(zero_bytes((bytes & EACH_BYTE * 0xf3) ^ EACH_BYTE * ' '))) / 8;
}

Cut first_word(std::string_view text) {
    size_t begin = 0;
    while (begin < text.size() && text[begin] == ' ') ++begin;
    size_t end = begin;
    for (size_t n = 8; n == 8 && text.size() - end >= 8; end += n) n = end_in_eight(word_at(text.data() + end));
    while (end < text.size() && !ends_word(text[end])) ++end;
    return {text.substr(begin, end - begin), text.substr(end < text.size() ? end + 1 : end)};
}

Cut first_item(std::string_view text) {
    return cut_item(text, [](char c) { return c == ','; });
}

// The mirror image of first_word.
Cut last_word(std::string_view text) {
    size_t end = text.size();
    while (end > 0 && text[end - 1] == ' ') --end;
    size_t begin = end;
    while (begin > 0 && !ends_word(text[begin - 1])) --begin;
    return {text.substr(begin, end - begin), text.substr(0, begin > 0 ? begin - 1 : 0)};
}

// --- the object that is cut ---------------------------------------------------------

// Reduces a text to a part of itself, without moving it.
void keep_part(QOR_OBJECT *o, std::string_view part) {
    const auto begin = part.empty() ? 0u : static_cast<uint32_t>(part.data() - text_of(o).data());
    string_of(o)->length = begin + static_cast<uint32_t>(part.size());
    cut_left(o, begin);
}

// What is left behind when the last item was taken is a NULL, which ends a loop.
void leave_rest(QOR_OBJECT *o, std::string_view rest) {
    if (rest.empty()) {
        OBJ_set_null(o);
    } else {
        keep_part(o, rest);
    }
}

bool list_on_top() { return qorcpu_stack_top > 0 && *stack_slot(0) && type_of(*stack_slot(0)) == TYPE_LIST; }

// The string on top, NULL or not. QOR_NIL when an abort returned, be it that of
// another type or that of a stack with no room for the item: the text must not
// be cut before that is known.
QOR_OBJECT *string_to_cut() {
    QOR_OBJECT *o = qorcpu_top();
    if (type_of(o) != TYPE_STRING) {
        OBJ_assert_type(o, TYPE_STRING);
        return nullptr;
    }
    if (qorcpu_stack_top >= STACK_SIZE) {
        qorcpu_stack_overflow();
        return nullptr;
    }
    return o;
}

// The rest stays in the object on the stack, the item is pushed.
template <class Read> void extract(Read read) {
    QOR_OBJECT *o = string_to_cut();
    if (!o) return;
    if (!is_defined(o)) return QORCPU_PUSH_UNDEF_STRING();
    const Cut cut = read(text_of(o));
    qorcpu_push_text(cut.item);
    leave_rest(o, cut.rest);
}

// Only the item stays on the stack. The rest is written into the object all the
// same, where others refer to it.
template <class Read> void extract_alone(Read read) {
    QOR_OBJECT *o = qorcpu_top();
    if (has_value(o, TYPE_STRING) && is_unshared(o)) return keep_part(o, read(text_of(o)).item);
    Object_var popped;
    QORCPU_POP_OBJ(&popped);
    if (type_of(popped) != TYPE_STRING) return OBJ_assert_type(popped, TYPE_STRING);
    if (!is_defined(popped)) return QORCPU_PUSH_UNDEF_STRING();
    const Cut cut = read(text_of(popped));
    qorcpu_push_text(cut.item);
    leave_rest(popped, cut.rest);
}

void push_first_of_list(QOR_OBJECT *list) {
    Object_var element;
    int32_t found;
    BTYP_pop_first(list, &element, &found);
    if (found) {
        qorcpu_push_owned(std::move(element));
    } else {
        QORCPU_PUSH_UNDEF_STRING();
    }
}

// What the short way does not take. Apart, so that that one needs no frame.
[[gnu::noinline]] void extrl_other() {
    if (list_on_top()) return push_first_of_list(qorcpu_top());
    extract(first_word);
}

// The usual case is a short field of a longer record of the stack's own: it is
// found and copied as one machine word.
void extrl() {
    if (qorcpu_stack_top < 1 || qorcpu_stack_top >= STACK_SIZE) [[unlikely]]
        return extrl_other();
    QOR_OBJECT *o = *stack_slot(0);
    if (!is_own_text(o) || string_of(o)->length <= 8) return extrl_other();
    STRNG *s = string_of(o);
    const uint8_t *text = s->data;
    const uint64_t bytes = word_at(text);
    const size_t length = end_in_eight(bytes);
    if (length >= 8 || text[0] == ' ' || !ends_word(static_cast<char>(text[length]))) return extrl_other();
    const auto cut = static_cast<uint32_t>(length) + 1;
    s->data += cut;
    s->length -= cut;
    s->capacity -= cut;
    o->head += cut;
    QOR_OBJECT **slot = qorcpu_push_slot();
    QOR_OBJECT *item = *slot;
    if (!is_reusable_string(item) || item->head != 0 || string_of(item)->capacity < 8) [[unlikely]]
        return fresh_string(slot, {reinterpret_cast<const char *>(text), length});
    item->flags = OBJ_ONE | OBJ_DEFINED | TYPE_STRING;
    string_of(item)->length = static_cast<uint32_t>(length);
    std::memcpy(string_of(item)->data, &bytes, 8);
}

void extrl1() {
    if (!list_on_top()) return extract_alone(first_word);
    Object_var list;
    QORCPU_POP_OBJ(&list);
    push_first_of_list(list);
}

void extrls() { extract(first_item); }
void extrr() { extract(last_word); }
void extrr1() { extract_alone(last_word); }

// Pops the delimiters. Their object stays in its slot until the next push, so
// the text may be used up to then.
bool pop_delimiters(std::string_view *delimiters) {
    if (!texts_on_top(1)) return false;
    *delimiters = c_text(operand_text(0));
    qorcpu_drop();
    return true;
}

void extrtok() {
    std::string_view delimiters;
    if (!pop_delimiters(&delimiters)) return;
    extract([delimiters](std::string_view text) {
        return cut_item(text, [delimiters](char c) { return delimiters.find(c) != delimiters.npos; });
    });
}

void extrtok1() {
    std::string_view delimiters;
    if (!pop_delimiters(&delimiters)) return;
    extract_alone([delimiters](std::string_view text) {
        return cut_item(text, [delimiters](char c) { return delimiters.find(c) != delimiters.npos; });
    });
}

// --- cutting by count ------------------------------------------------------------------

// Nothing for a NULL.
std::optional<int32_t> pop_count() {
    QOR_OBJECT *o = qorcpu_top();
    if (has_value(o, TYPE_INT)) [[likely]] {
        qorcpu_drop();
        return o->int_value;
    }
    Object_var popped;
    QORCPU_POP_OBJ_TYPED(&popped, TYPE_INT);
    return std::nullopt;
}

// A count of 0 takes a NULL, not an empty text. A negative count is a huge one.
void push_extract(uint32_t count, std::string_view item) {
    if (count == 0) {
        QORCPU_PUSH_UNDEF_STRING();
    } else {
        qorcpu_push_text(item);
    }
}

void extrln() {
    const std::optional<int32_t> n = pop_count();
    QOR_OBJECT *o = string_to_cut();
    if (!o) return;
    if (!is_defined(o)) return QORCPU_PUSH_UNDEF_STRING();
    const std::string_view text = text_of(o);
    const uint32_t count = n ? static_cast<uint32_t>(*n) : static_cast<uint32_t>(text.size());
    push_extract(count, text.substr(0, count));
    leave_rest(o, count < text.size() ? text.substr(count) : std::string_view());
}

void extrrn() {
    const auto count = static_cast<uint32_t>(qorcpu_pop_int());
    QOR_OBJECT *o = string_to_cut();
    if (!o) return;
    if (!is_defined(o)) return QORCPU_PUSH_UNDEF_STRING();
    const std::string_view text = text_of(o);
    const size_t left = count < text.size() ? text.size() - count : 0;
    push_extract(count, text.substr(left));
    leave_rest(o, text.substr(0, left));
}

// Reduces the text on top in place to n characters that keep tells; a NULL on
// either side changes nothing.
template <class Keep> void keep_count(Keep keep) {
    const std::optional<int32_t> n = pop_count();
    QOR_OBJECT *o = qorcpu_top();
    if (type_of(o) != TYPE_STRING) return OBJ_assert_type(o, TYPE_STRING);
    if (!n || !is_defined(o)) return;
    if (*n <= 0) return OBJ_set_null(o);
    const std::string_view text = text_of(o);
    if (static_cast<size_t>(*n) < text.size()) keep_part(o, keep(text, static_cast<size_t>(*n)));
}

void extrln1() {
    keep_count([](std::string_view text, size_t n) { return text.substr(0, n); });
}

void extrrn1() {
    keep_count([](std::string_view text, size_t n) { return text.substr(text.size() - n); });
}

void extrchar() {
    const int32_t index = qorcpu_pop_int();
    if (!texts_on_top(1)) return;
    const std::string_view text = operand_text(0);
    if (index < 0 || static_cast<size_t>(index) >= text.size()) {
        qorcpu_drop();
        return QORCPU_PUSH_UNDEF_STRING();
    }
    const char c = text[static_cast<size_t>(index)];
    qorcpu_drop();
    qorcpu_push_text({&c, 1});
}

// --- building and substituting ------------------------------------------------------------

// The list is a string of the stack's own. It ends at a zero byte.
void append_item(QOR_OBJECT *list, std::string_view item) {
    normalize_string(list);
    STRNG *s = string_of(list);
    s->length = static_cast<uint32_t>(c_text(view(*s)).size());
    strng_append(s, ",");
    strng_append(s, item);
}

// The usual case: two texts of the stack's own, of which the first has room for
// the second. That stays in its slot for reuse.
bool join_own_texts() {
    if (qorcpu_stack_top < 2) return false;
    QOR_OBJECT *left = *stack_slot(1);
    QOR_OBJECT *right = *stack_slot(0);
    if (!is_own_text(left) || !is_own_text(right)) return false;
    STRNG *s = string_of(left);
    const std::string_view item = text_of(right);
    if (s->capacity - s->length <= item.size() || string_of(right)->capacity > KEPT_TEXT) return false;
    if (holds_zero(view(*s)) || holds_zero(item)) return false;
    s->data[s->length] = ',';
    copy_text(s->data + s->length + 1, item.data(), item.size());
    s->length += static_cast<uint32_t>(item.size()) + 1;
    qorcpu_drop();
    return true;
}

// Two objects of any type, rendered, with a comma between. A list that grows
// on the stack is appended to in place.
[[gnu::noinline]] void comma_other() {
    if (!objects_on_top(2)) return;
    QOR_OBJECT *left = *stack_slot(1);
    QOR_OBJECT *right = *stack_slot(0);
    Int_digits digits;
    std::string_view item = usual_text(right, digits);
    if (item.data() && has_value(left, TYPE_INT)) {
        Int_digits first;
        fresh_string(stack_slot(1), int_text(left->int_value, first));
        append_item(*stack_slot(1), item);
        return discard_top();
    }
    if (item.data() && has_value(left, TYPE_STRING)) [[likely]] {
        // A list that others share becomes a copy; the item stays where it is.
        append_item(unshare(stack_slot(1)), item);
        return discard_top();
    }
    Work_text work, list;
    item = rendered(right, *work);
    list->assign(rendered(left, *list));
    list->append(',');
    list->append(item);
    discard_top();
    qorcpu_drop();
    qorcpu_push_text(list->text());
}

void comma() {
    if (!join_own_texts()) comma_other();
}

// The text on top, taken over into a buffer of the caller's, since resolving
// names may run script code over the stack.
bool pop_text(Strng &text) {
    if (!texts_on_top(1)) return false;
    text.assign(operand_text(0));
    qorcpu_release_top();
    return true;
}

void val() {
    Work_text list, item, value, result;
    if (!pop_text(*list)) return;
    STRNG_CURSOR cursor;
    STRNG2_PREPX(*list, &cursor);
    LEX2_RESET();
    for (bool first = true; LEX2_NEXT_ITEM(&cursor, &*item, ','); first = false) {
        if (!first) result->append(',');
        const Object_var object = object_by_name(item->text());
        result->append(object ? rendered(object, *value) : item->text());
    }
    qorcpu_push_text(result->text());
}

void val2() {
    Work_text list, result;
    if (!pop_text(*list)) return;
    const std::string_view text = list->text();
    for (size_t begin = 0, end; begin < text.size(); begin = end + 1) {
        end = std::min(text.find(',', begin), text.size());
        append_display_item(text.substr(begin, end - begin), false, *result);
    }
    qorcpu_push_text(result->text());
}

// Names between separators become values; what leads nowhere stays as it was.
void preprocess_string() {
    if (!texts_on_top(2)) return;
    const std::string_view separators = operand_text(0);
    const bool separated = !separators.empty();
    const char separator = separated ? separators[0] : '\0';
    qorcpu_release_top();
    Work_text source, value, result;
    if (!pop_text(*source)) return;
    const std::string_view text = source->text();
    for (size_t at = 0; at < text.size();) {
        const size_t opening = separated ? std::min(text.find(separator, at), text.size()) : text.size();
        result->append(text.substr(at, opening - at));
        if (opening == text.size()) break;
        const size_t closing = std::min(text.find(separator, opening + 1), text.size());
        const Object_var object = object_by_name(text.substr(opening + 1, closing - opening - 1));
        at = closing + 1;
        result->append(object ? rendered(object, *value) : text.substr(opening, at - opening));
    }
    qorcpu_push_text(result->text());
}

// GET_LVALUE is what the statement -> calls.
constexpr Native_method TABLE[] = {
    {"EXTRL", extrl, 1, 2, 'P', "[s string][s rest,s extract]"},
    {"EXTRL1", extrl1, 1, 1, 'P', "[s string][s extract]"},
    {"EXTRLS", extrls, 1, 2, 'P', "[s string][s rest,s extract]"},
    {"EXTRLN", extrln, 2, 2, 'P', "[s string,i n][s rest,s extract]"},
    {"EXTRLN1", extrln1, 2, 1, 'P', "[s string,i n][s extract]"},
    {"EXTRR", extrr, 1, 2, 'P', "[s string][s rest,s extract]"},
    {"EXTRR1", extrr1, 1, 1, 'P', "[s string][s extract]"},
    {"EXTRRN", extrrn, 2, 2, 'P', "[s string,i n][s rest,s extract]"},
    {"EXTRRN1", extrrn1, 2, 1, 'P', "[s string,i n][s extract]"},
    {"EXTRTOK", extrtok, 2, 2, 'P', "[s string,s delims][s rest,s extract]"},
    {"EXTRTOK1", extrtok1, 2, 1, 'P', "[s string,s delims][s extract]"},
    {"EXTRCHAR", extrchar, 2, 1, 'P', "[s string,i n][s extract]"},
    {"GET_LVALUE", extrl, 1, 2, 'I', ""},
    {",", comma, 2, 1, 'P', ""},
    {"VAL", val, 1, 1, 'P', "[s var_list][s value_list]"},
    {"VAL2", val2, 1, 1, 'P', "[s display_string][s string]"},
    {"PREPROCESS_STRING", preprocess_string, 2, 1, 'P', "[s string,s sepchar][s string]"},
};

} // namespace

void register_string_lists() { register_methods("QOR", TABLE); }

} // namespace qor
