// The platform seen from a script: programs, the environment, the machine.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "machine/methods/texts.hpp"
#include "platform/platform.hpp"
#include "qor/storage.h"

namespace qor {

namespace {

// A longer name is not told but NULL: a kept property.
constexpr size_t MAX_COMPUTER_NAME = 14;

constexpr struct {
    const char *locale;
    const char *code;
    const char *name;
} LANGUAGES[] = {
    {"de", "DE", "German"}, {"en", "EN", "English"}, {"es", "ES", "Spanish"},
    {"fr", "FR", "French"}, {"it", "IT", "Italian"}, {"pt", "PT", "Portuguese"},
};

// Names and commands end at a zero byte, as the platform reads them.
std::string pop_c_text() {
    Strng text;
    QORCPU_POPS(&text);
    return text.c_str();
}

void push_text_or_null(std::string_view text) {
    if (text.empty())
        QORCPU_PUSH_UNDEF_STRING();
    else
        qorcpu_push_text(text);
}

// --- programs ----------------------------------------------------------------------

// Words end at blanks; double quotes group and are taken off.
std::vector<std::string> words_of(std::string_view command) {
    std::vector<std::string> words;
    bool quoted = false, in_word = false;
    for (const char c : command) {
        if (c == ' ' && !quoted) {
            in_word = false;
            continue;
        }
        if (!in_word) words.emplace_back();
        in_word = true;
        if (c == '"')
            quoted = !quoted;
        else
            words.back() += c;
    }
    return words;
}

// What was shown before stands before what the child shows.
void oscall() {
    const std::string command = pop_c_text();
    std::fflush(stdout);
    qorcpu_push_int(platform::run_command(command));
}

void oscall2() {
    Strng command;
    QORCPU_POPS(&command);
    STRNG2_TRIM(&command);
    std::fflush(stdout);
    qorcpu_push_int(platform::run_program(words_of(c_text(command.text()))));
}

// Who waits sees what was shown so far.
void sleep() {
    const int32_t millis = qorcpu_pop_int();
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::milliseconds(millis));
}

// --- environment ---------------------------------------------------------------------

void get_env() {
    const char *value = std::getenv(pop_c_text().c_str());
    if (value) qorcpu_push_text(value);
    qorcpu_push_boolean(value != nullptr);
}

void get_working_directory() { push_text_or_null(platform::current_directory()); }
void get_main_program() { push_text_or_null(platform::executable_path()); }

// The kernel runs in the program of its own, not in one that embeds it.
void is_batch_program() {
    const std::string path = platform::executable_path();
    qorcpu_push_boolean(path.substr(path.rfind(platform::SEPARATOR) + 1) == "qor");
}

void get_osversion() { qorcpu_push_text(platform::system_version()); }
void is_system64() { qorcpu_push_boolean(platform::is_64_bit_machine()); }

void get_computername() {
    const std::string name = platform::computer_name();
    push_text_or_null(name.size() <= MAX_COMPUTER_NAME ? name : "");
}

void get_username() { push_text_or_null(platform::user_name()); }

void get_systemlanguage() {
    const std::string locale = platform::language_code();
    for (const auto &language : LANGUAGES) {
        if (locale == language.locale) return qorcpu_push_text(language.name);
    }
    push_text_or_null(locale);
}

void get_systemlanguagecode() {
    const std::string locale = platform::language_code();
    for (const auto &language : LANGUAGES) {
        if (locale == language.locale) return qorcpu_push_text(language.code);
    }
    QORCPU_PUSH_UNDEF_STRING();
}

// --- memory ----------------------------------------------------------------------------

void get_memory_size() { qorcpu_push_long(Storage_GET_SIZE()); }
void get_memory_size_kb() { qorcpu_push_long(Storage_GET_KBYTES()); }
void get_memory_size_mb() { qorcpu_push_long(Storage_GET_MBYTES()); }

// There is no limit to set, nor a screen to refresh: old scripts call both.
void set_memory_limit() { qorcpu_pop_int(); }
void screen_refresh() {}

constexpr Native_method METHODS[] = {
    {"OSCALL", oscall, 1, 1, 'P', ""},
    {"OSCALL2", oscall2, 1, 1, 'P', ""},
    {"GET_OSVERSION", get_osversion, 0, 1, 'P', "[][s version]"},
    {"SLEEP", sleep, 1, 0, 'P', ""},
    {"GET_COMPUTERNAME", get_computername, 0, 1, 'P', ""},
    {"GET_USERNAME", get_username, 0, 1, 'P', ""},
    {"GET_SYSTEMLANGUAGE", get_systemlanguage, 0, 1, 'P', ""},
    {"GET_SYSTEMLANGUAGECODE", get_systemlanguagecode, 0, 1, 'P', ""},
    {"IS_SYSTEM64", is_system64, 0, 1, 'P', ""},
    {"GET_MAIN_PROGRAM", get_main_program, 0, 1, 'P', ""},
    {"IS_BATCH_PROGRAM", is_batch_program, 0, 1, 'P', ""},
    {"GETENV", get_env, 1, 2, 'P', ""},
    {"GET_MEMORY_SIZE", get_memory_size, 0, 1, 'P', ""},
    {"GET_MEMORY_SIZE_KB", get_memory_size_kb, 0, 1, 'P', ""},
    {"GET_MEMORY_SIZE_MB", get_memory_size_mb, 0, 1, 'P', ""},
    {"SET_MEMORY_LIMIT", set_memory_limit, 1, 0, 'P', "[i limit][]"},
    {"GET_WORKING_DIRECTORY", get_working_directory, 0, 1, 'P', ""},
    {"SCREEN_REFRESH", screen_refresh, 0, 0, 'P', ""},
};

} // namespace

void register_system_methods() { register_methods("QOR", METHODS); }

} // namespace qor
