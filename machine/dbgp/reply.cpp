// What goes to the client: responses as maps, their XML, packets.
#include "container/list.hpp"
#include "machine/dbgp/dbgp.hpp"
#include "machine/qorcpu.hpp"
#include "object/map_access.hpp"
#include "platform/platform.hpp"
#include "services/qorio.hpp"
#include "services/socket.hpp"

namespace qor {

namespace {

constexpr std::string_view XML_HEAD = "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>";
constexpr std::string_view RESPONSE_HEAD =
    "<response xmlns=\"urn:debugger_protocol_v1\" xmlns:xdebug=\"https://xdebug.org/dbgp/xdebug\"";
constexpr const char *CONTENT = "content";
constexpr uint32_t REAL_DECIMALS = 3;
constexpr std::string_view FILE_SCHEME = "file://";

// False for a value that is no attribute. Nothing is escaped, here or in a body:
// kept, clients of this engine read it so.
bool append_value(QOR_OBJECT *value, STRNG *out) {
    switch (is_defined(value) ? type_of(value) : -1) {
    case TYPE_STRING: strng_append(out, text_of(value)); return true;
    case TYPE_INT: strng_append(out, std::to_string(value->int_value)); return true;
    case TYPE_REAL: STRNG_APPLREAL(value->real_value, out, REAL_DECIMALS); return true;
    default: return false;
    }
}

void append_attributes(QOR_MAP *map, STRNG *out) {
    Strng key;
    for (const Map_node *entry = map_first(map); entry; entry = map_next(entry)) {
        map_key(entry, &key);
        Strng value;
        if (key.text() == CONTENT || !append_value(map_object(entry), &value)) continue;
        for (const std::string_view part : {std::string_view(" "), key.text(), std::string_view("=\""), value.text()})
            strng_append(out, part);
        strng_append(out, "\"");
    }
}

void append_content(QOR_OBJECT *content, STRNG *out) {
    if (type_of(content) == TYPE_STRING) {
        strng_append(out, text_of(content));
    } else if (type_of(content) == TYPE_MAP) {
        DBGP_MAP_TO_XML(map_of(content), out);
    } else if (type_of(content) == TYPE_LIST) {
        const auto *list = static_cast<const QOR_LIST *>(content->handle);
        for (const QOR_LIST_NODE *node = list_first(list); node; node = list_next(node))
            DBGP_MAP_TO_XML(map_of(list_object(node)), out);
    }
}

// Less than a path of a URI may hold: what would break an attribute is not in.
constexpr std::string_view PLAIN_CHARACTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/-._~!$()*+,;=:@";

} // namespace

void dbgp_set_attribute(const char *name, std::string_view value) {
    MAP_INSERT_SVALUE_C(dbgp_response, name, borrow(value));
}

Object_var dbgp_element(const char *tag) {
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    MAP_SET_LABEL_C(map, tag);
    Object_var element;
    BTYP_create_map_ref(&element, map);
    return element;
}

void dbgp_add_position() {
    const Object_var position = dbgp_element("xdebug:message");
    MAP_INSERT_VALUE_C(map_of(position), "filename", dbgp_file_uri().c_str());
    MAP_INSERT_IVALUE_C(map_of(position), "lineno", static_cast<int32_t>(qorcpu_instr->line));
    MAP_INSERT_OBJECT_REF_C(dbgp_response, CONTENT, position);
}

void dbgp_add_list(const Object_var &element) {
    Object_var list;
    BTYP_create_list(&list);
    if (element) BTYP_append_to_list(list, element);
    MAP_INSERT_OBJECT_REF_C(dbgp_response, CONTENT, list);
}

void DBGP_MAP_TO_XML(QOR_MAP *map, STRNG *out) {
    Strng tag;
    MAP_GET_LABEL(map, &tag);
    if (map == dbgp_response) {
        tag.assign("response");
        strng_append(out, RESPONSE_HEAD);
    } else {
        strng_append(out, "<");
        strng_append(out, tag.text());
    }
    append_attributes(map, out);
    QOR_OBJECT *content = map_find(map, borrow(CONTENT));
    if (!content) return strng_append(out, "/>");
    strng_append(out, ">");
    append_content(content, out);
    strng_append(out, "</");
    strng_append(out, tag.text());
    strng_append(out, ">");
}

// In one send, the final zero byte included: some clients take what a receive
// gives for whole packets.
void DBGP_SEND_PACKET(STRNG document) {
    std::string packet = std::to_string(XML_HEAD.size() + document.length);
    packet += '\0';
    packet += XML_HEAD;
    packet += view(document);
    packet += '\0';
    socket_put(&dbgp_socket, packet);
}

void DBGP_SEND_RESPONSE() {
    const No_stop talking;
    dbgp_set_attribute("command", dbgp_command);
    dbgp_set_attribute("transaction_id", dbgp_transaction_id);
    Strng document;
    DBGP_MAP_TO_XML(dbgp_response, &document);
    MESSAGE_DISPLAY1_C("<<< response object ");
    MESSAGE_DISPLAY_S(document);
    DBGP_SEND_PACKET(document);
    MAP_CLEAR(&dbgp_response);
}

std::string dbgp_file_uri() {
    Strng name;
    QORCPU_SOURCE_NAME(qorcpu_instr->source, &name);
    std::string path;
    qorio_expand_path(name.text(), &path);
    if (!path.empty() && path.front() != platform::SEPARATOR)
        path = platform::current_directory() + platform::SEPARATOR + path;
    std::string uri(FILE_SCHEME);
    for (const char c : path) {
        if (PLAIN_CHARACTERS.find(c) != std::string_view::npos) {
            uri += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            uri += '%';
            uri += "0123456789ABCDEF"[byte >> 4];
            uri += "0123456789ABCDEF"[byte & 15];
        }
    }
    return uri;
}

} // namespace qor
