// The box that a compilation shows, with texts from the version file.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "compiler/qorcomp_state.hpp"
#include "object/class.hpp"
#include "object/map_access.hpp"
#include "qor/qorcpu.h"
#include "services/qorio.hpp"

namespace qor {

namespace {

constexpr const char *PRODUCT = "Qorkit Suite";
constexpr const char *OWNER = "QorScript";
constexpr size_t MIN_WIDTH = 30;

// --- the version file ----------------------------------------------------------------

// The map in the version file; nil when there is none that can be read. A class
// SERIAL of the script reads it in its own way.
Object_var read_version_file() {
    std::string path;
    bool class_found;
    static Method_finder finder{"SERIAL", "LOAD_OBJECT"};
    QOR_OBJECT *method = finder.find(&class_found);
    if (!method || !qorio_expand_path(qorcomp_version_file.text(), &path)) return {};
    QORCPU_PUSHS(borrow(path));
    QORCPU_DO_METHOD(method_of(method));
    int32_t status;
    QORCPU_POPB(&status);
    Object_var object;
    if (status) QORCPU_POP_OBJ(&object);
    if (!object || type_of(object) != TYPE_MAP || !is_defined(object)) object.reset();
    return object;
}

// An entry that can be used; null when it is missing, NULL or of another type.
QOR_OBJECT *entry(QOR_MAP *map, const char *key, Type type) {
    QOR_OBJECT *object = map_find(map, borrow(key));
    return object && type_of(object) == type && is_defined(object) ? object : nullptr;
}

std::string text_entry(QOR_MAP *map, const char *key, const char *otherwise) {
    QOR_OBJECT *object = entry(map, key, TYPE_STRING);
    const std::string_view text = object ? c_text(text_of(object)) : "";
    return std::string(text.empty() ? otherwise : text);
}

int32_t int_entry(QOR_MAP *map, const char *key) {
    const QOR_OBJECT *object = entry(map, key, TYPE_INT);
    return object ? object->int_value : 0;
}

struct Version {
    std::string product = PRODUCT;
    std::string line = "Version 2018.0";
};

Version read_version() {
    Version version;
    const Object_var object = read_version_file();
    if (!object) return version;
    QOR_MAP *map = map_of(object);
    version.product = text_entry(map, "PRODUCT_NAME", PRODUCT);
    version.line = "Version 2018";
    const std::string minor = text_entry(map, "MINOR_VERSION", "");
    if (!minor.empty()) version.line += '.' + minor;
    const int32_t revision = int_entry(map, "REVISION");
    if (revision > 0) version.line += '.' + std::to_string(revision);
    const int32_t date = int_entry(map, "RELEASE_DATE"); // YYYYMMDD
    if (date >= 10000000 && date <= 99999999) {
        std::array<char, 16> text;
        std::snprintf(text.data(), text.size(), " (%02d.%02d.%d)", date % 100, date / 100 % 100, date / 10000);
        version.line += text.data();
    }
    return version;
}

// --- the box -------------------------------------------------------------------------

// "* TEXT", blanks, and the closing star in the last column.
void display_row(std::string_view text, size_t width) {
    Strng row("* ");
    row.append(text);
    STRNG_APPNC(' ', static_cast<uint32_t>(width - 3 - text.size()), &row);
    row.append('*');
    MESSAGE_DISPLAY_S(row);
}

void display_stars(size_t width) {
    Strng row;
    STRNG_APPNC('*', static_cast<uint32_t>(width), &row);
    MESSAGE_DISPLAY_S(row);
}

} // namespace

void display_banner() {
    const Version version = read_version();
    const std::string_view rows[] = {"", version.product, "", version.line, "", OWNER, ""};
    size_t width = MIN_WIDTH;
    for (const std::string_view text : rows) width = std::max(width, text.size() + 4);
    display_stars(width);
    for (const std::string_view text : rows) display_row(text, width);
    display_stars(width);
}

} // namespace qor
