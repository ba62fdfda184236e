#include "qor/msg.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "kernel/storage.hpp"
#include "kernel/strng.hpp"

struct QOR_MSG {
    qor::Strng module;
    qor::Strng procedure;
    bool dset; // display each change of the procedure
};

namespace qor {

namespace {

constexpr size_t FORMAT_LIMIT = 1024;
constexpr size_t SHORT_TEXT = 511; // bytes of a text in the two cut forms

constexpr std::string_view ERROR_WORD = "*** ERROR *** ";
constexpr std::string_view ABORT_WORD = "*** ABORT *** ";

// The text of a C array that is told by its highest index.
std::string_view array_text(uint32_t high, const char *array) {
    return {array, strnlen(array, static_cast<size_t>(high) + 1)};
}

// word module(procedure) separator text, each message in a string of its own:
// showing one may run script code that shows another.
Strng line(MSG channel, std::string_view word, std::string_view separator, std::string_view text) {
    Strng s(word);
    s.append(channel->module.text());
    s.append('(');
    s.append(channel->procedure.text());
    s.append(separator);
    s.append(text);
    return s;
}

Strng joined(std::string_view prefix, STRNG text, std::string_view suffix) {
    Strng s(prefix);
    s.append(view(text));
    s.append(suffix);
    return s;
}

void show_abort(MSG channel, std::string_view text) {
    if (channel) MESSAGE_ABORT_S(line(channel, ABORT_WORD, ") ", text));
}

void show_error_abort(MSG channel, std::string_view text) {
    if (channel) MESSAGE_ABORT_S(line(channel, ERROR_WORD, ") ", text));
}

void show_error(MSG channel, std::string_view text) {
    if (channel) MESSAGE_DISPLAY_ERROR_S(line(channel, ERROR_WORD, ") ", text));
}

void show(MSG channel, std::string_view separator, std::string_view text) {
    if (channel) MESSAGE_DISPLAY_S(line(channel, "", separator, text));
}

void set_procedure(MSG channel, std::string_view procedure) {
    if (!channel) return;
    channel->procedure.assign(procedure);
    if (!channel->dset) return;
    Strng text(channel->module.text());
    text.append('.');
    text.append(channel->procedure.text());
    MESSAGE_DISPLAY_S(text);
}

Strng formatted(const char *format, va_list arguments) {
    char text[FORMAT_LIMIT];
    std::vsnprintf(text, sizeof text, format, arguments);
    return Strng(text);
}

} // namespace

} // namespace qor

using namespace qor;

void MSG_CREATE_C(MSG *channel, const char *module, int32_t dset) {
    *channel = new (storage_allocate(sizeof(QOR_MSG))) QOR_MSG{Strng(module), Strng(), dset != 0};
}

void MSG_REMOVE(MSG *channel) {
    if (!*channel) return;
    (*channel)->~QOR_MSG();
    storage_free(*channel, sizeof(QOR_MSG));
    *channel = nullptr;
}

void MSG_SET_PROC_C(MSG channel, const char *procedure) { set_procedure(channel, procedure); }

void MSG_SET_PROC(MSG channel, uint32_t high, const char *procedure) {
    set_procedure(channel, array_text(high, procedure));
}

void MSG_SET_DSET_PROC(MSG *channel, int32_t dset) {
    if (*channel) (*channel)->dset = dset != 0;
}

void MSG_ABORT(MSG channel, uint32_t high, const char *text) { show_abort(channel, array_text(high, text)); }
void MSG_ABORT2_C(MSG channel, const char *text) { show_abort(channel, text); }
void MSG_ABORT_S(MSG channel, STRNG text) { show_abort(channel, view(text)); }

void MSG_ABORT_F(MSG channel, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const Strng text = formatted(format, arguments);
    va_end(arguments);
    show_abort(channel, text.text());
}

void MSG_PABORT(MSG channel, uint32_t prefix_high, const char *prefix, STRNG text, uint32_t suffix_high,
                const char *suffix) {
    show_error_abort(channel, joined(array_text(prefix_high, prefix), text, array_text(suffix_high, suffix)).text());
}

void MSG_PABORT_C(MSG channel, const char *prefix, STRNG text, const char *suffix) {
    show_error_abort(channel, joined(prefix, text, suffix).text());
}

void MSG_DISPLAY_ERROR(MSG channel, uint32_t high, const char *text) { show_error(channel, array_text(high, text)); }
void MSG_DISPLAY_ERROR2_C(MSG channel, const char *text) { show_error(channel, text); }
void MSG_DISPLAY_ERROR_S(MSG channel, STRNG text) { show_error(channel, view(text).substr(0, SHORT_TEXT)); }

void MSG_DISPLAY_ERROR_F(MSG channel, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const Strng text = formatted(format, arguments);
    va_end(arguments);
    show_error(channel, text.text());
}

void MSG_DISPLAY_PERROR(MSG channel, uint32_t prefix_high, const char *prefix, STRNG text, uint32_t suffix_high,
                        const char *suffix) {
    show_error(channel, joined(array_text(prefix_high, prefix), text, array_text(suffix_high, suffix)).text());
}

void MSG_DISPLAY_PERROR_C(MSG channel, const char *prefix, STRNG text, const char *suffix) {
    show_error(channel, joined(prefix, text, suffix).text());
}

void MSG_DISPLAY(MSG channel, uint32_t high, const char *text) { show(channel, "): ", array_text(high, text)); }
void MSG_DISPLAY2_C(MSG channel, const char *text) { show(channel, "): ", text); }
void MSG_DISPLAY_S(MSG channel, STRNG text) { show(channel, "): ", view(text).substr(0, SHORT_TEXT)); }

void MSG_DISPLAY_F(MSG channel, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const Strng text = formatted(format, arguments);
    va_end(arguments);
    show(channel, "): ", text.text());
}

void MSG_PDISPLAY(MSG channel, uint32_t prefix_high, const char *prefix, STRNG text, uint32_t suffix_high,
                  const char *suffix) {
    show(channel, ") ", joined(array_text(prefix_high, prefix), text, array_text(suffix_high, suffix)).text());
}

void MSG_PDISPLAY_C(MSG channel, const char *prefix, STRNG text, const char *suffix) {
    show(channel, ") ", joined(prefix, text, suffix).text());
}
