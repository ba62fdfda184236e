// Scripts line by line: |INCL continues in the named file, transparently for the
// compiler.

#include "object/object.hpp"
#include "qor/map.h"
#include "qor/option.h"
#include "services/qorio.hpp"
#include "services/textfile.hpp"
#include "services/textfile_table.hpp"

namespace qor {

namespace {

constexpr char OPERATION[] = "READ_SOURCE_LINE";
constexpr std::string_view DIRECTIVE = "|INCL";

bool holds(QOR_OBJECT *list, std::string_view text) {
    QOR_LIST_NODE *position = BTYP_get_read_position(list);
    BTYP_reset_read_list(list);
    bool found = false;
    Object_var element;
    int32_t status;
    for (BTYP_read_next_listobj_ref(list, &element, &status); status && !found;
         BTYP_read_next_listobj_ref(list, &element, &status)) {
        found = type_of(element) == TYPE_STRING && text_of(element) == text;
    }
    BTYP_restore_read_position(list, position);
    return found;
}

void note_included(std::string_view path) {
    QOR_OBJECT *list = textfile_include_list();
    if (holds(list, path)) return;
    Object_var element;
    BTYP_create_string(&element, borrow(path));
    BTYP_append_to_list(list, element);
}

// A file enters SOURCES with its first word and is not read again from then on.
// One that includes itself above its first word goes on until the table of files
// is full, which is the same error as a file that can not be opened.
void include(int32_t *file, STRNG name) {
    QOR_MAP *sources;
    int32_t status;
    MAP_GET_MAP_BY_NAME_C(&sources, "SOURCES", &status);
    if (!status) {
        MSG_SET_PROC_C(textfile_msg, OPERATION);
        MSG_ABORT2_C(textfile_msg, "internal error: map SOURCES not found");
        return;
    }
    if (MAP_TEST_KEY(sources, name)) return;
    int32_t included;
    if (textfile_open(Open_kind::READ, view(name), &included) != Open_result::OPEN) {
        Strng text("error opening |INCL file ");
        text.append(view(name));
        MSG_SET_PROC_C(textfile_msg, OPERATION);
        MSG_ABORT_S(textfile_msg, text);
        return;
    }
    text_files[included].includer = *file;
    *file = included;
    std::string path;
    qorio_expand_path(view(name), &path);
    note_included(path);
    if (OPTION_ISOPT_C("parse") && !OPTION_ISOPT_C("cgi")) MESSAGE_DISPLAY_F("including file %s ...\n", path.c_str());
}

} // namespace

QOR_OBJECT *textfile_include_list() {
    static QOR_OBJECT *list = nullptr;
    if (!list) BTYP_create_list(&list);
    return list;
}

} // namespace qor

using namespace qor;

void TEXTFILE_READ_SOURCE_LINE(int32_t *file, STRNG_CURSOR *line, int32_t *status) {
    for (;;) {
        TEXTFILE_READLN(file, line, status);
        if (*status) {
            const std::string_view text = view(*line);
            if (!text.starts_with(DIRECTIVE)) return;
            Strng name(text.substr(DIRECTIVE.size()));
            STRNG2_TRIM(&name);
            include(file, name);
            continue;
        }
        const Text_file *finished = textfile_row(*file, OPERATION);
        if (!finished || finished->includer < 0) return;
        int32_t id = *file;
        *file = finished->includer;
        TEXTFILE_CLOSE(&id);
    }
}
