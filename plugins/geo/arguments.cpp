// What goes from the stack into a method, and from a method to the stack.
#include <cstring>

#include "geometries.hpp"

namespace geo {

namespace {

constexpr char KIND_LETTERS[] = "plda";

QOR_GEOMETRY geometry_in(QOR_OBJECT *object) {
    QOR_GEOMETRY geometry = 0;
    BTYP_read_geometry_ref(object, &geometry);
    return geometry;
}

bool is_null(QOR_OBJECT *object) { return !object || !OBJ_object_value_is_defined(object); }

const char *expected_name(char type) {
    switch (type) {
    case 'r': return "real";
    case 'i': return "int";
    case 'b': return "boolean";
    case 's': return "string";
    case 'L': return "list";
    case 'M': return "map";
    case 'p': return kind_name(GEOM_POINT);
    case 'l': return kind_name(GEOM_LINE);
    case 'd': return kind_name(GEOM_RAND);
    case 'a': return kind_name(GEOM_AREA);
    default: return "geometry";
    }
}

bool fits(QOR_OBJECT *object, char type) {
    const int32_t found = OBJ_get_type(object);
    switch (type) {
    case 'o': return true;
    case 'r': return found == BTYP_real_tidf() || found == BTYP_int_tidf() || found == BTYP_long_tidf();
    case 'i': return found == BTYP_int_tidf();
    case 'b': return found == BTYP_boolean_tidf();
    case 's': return found == BTYP_string_tidf();
    case 'L': return found == BTYP_list_tidf();
    case 'M': return found == BTYP_map_tidf();
    default: break;
    }
    if (found != BTYP_geometry_tidf()) return false;
    const int32_t kind = kind_of(geometry_in(object));
    return type == 'g' || kind < 0 || KIND_LETTERS[kind] == type;
}

std::string found_name(QOR_OBJECT *object) {
    if (OBJ_get_type(object) == BTYP_geometry_tidf()) return kind_name(kind_of(geometry_in(object)));
    return OBJ_get_type_name_C(object);
}

double real_in(QOR_OBJECT *object) {
    const int32_t type = OBJ_get_type(object);
    if (type == BTYP_int_tidf()) {
        int32_t value = 0;
        BTYP_read_int(object, &value);
        return value;
    }
    if (type == BTYP_long_tidf()) {
        int64_t value = 0;
        BTYP_read_long(object, &value);
        return static_cast<double>(value);
    }
    double value = 0;
    BTYP_read_real(object, &value);
    return value;
}

// Types are letters of which one must fit a value. A NULL of any type fits.
void check(QOR_OBJECT *object, std::string_view types) {
    if (is_null(object)) return;
    std::string expected;
    for (const char type : types) {
        if (fits(object, type)) return;
        expected += (expected.empty() ? "" : " or ") + std::string(expected_name(type));
    }
    throw Fault{expected + " expected, not " + found_name(object)};
}

// Borrowed from the list; an object that is no list is its own only element. The list's
// cursor stays, as far as can be seen: what it does not tell itself is found out by reading
// on. Without a position it stands in front, behind the first element or at the end.
std::vector<QOR_OBJECT *> elements_of(QOR_OBJECT *list) {
    if (is_null(list)) throw No_result{};
    if (OBJ_get_type(list) != BTYP_list_tidf()) return {list};
    QOR_LIST_NODE *const position = BTYP_get_read_position(list);
    Object element;
    int32_t found;
    BTYP_read_next_listobj_ref(list, &element.value, &found);
    const bool was_at_end = !position && !found;
    const bool was_behind_first = !position && BTYP_get_read_position(list);

    std::vector<QOR_OBJECT *> elements;
    BTYP_reset_read_list(list);
    for (;;) {
        BTYP_read_next_listobj_ref(list, &element.value, &found);
        if (!found) break;
        elements.push_back(element.value);
    }
    if (was_at_end) return elements;
    BTYP_restore_read_position(list, position);
    if (was_behind_first) BTYP_read_next_listobj_ref(list, &element.value, &found);
    return elements;
}

} // namespace

Arguments::Arguments(const char *types) {
    const size_t count = std::strlen(types);
    for (size_t i = count; i-- > 0;) QORCPU_POP_OBJ(&objects_[i].value);
    bool has_null = false;
    for (size_t i = 0; i < count; ++i) {
        check(objects_[i].value, {types + i, 1});
        has_null = has_null || (types[i] != 'o' && is_null(objects_[i].value));
    }
    if (has_null) throw No_result{};
}

QOR_GEOMETRY Arguments::geometry(size_t index) const { return geometry_in(objects_[index].value); }

double Arguments::real(size_t index) const { return real_in(objects_[index].value); }

int32_t Arguments::integer(size_t index) const {
    int32_t value = 0;
    BTYP_read_int(objects_[index].value, &value);
    return value;
}

bool Arguments::boolean(size_t index) const {
    uint32_t value = 0;
    BTYP_read_boolean(objects_[index].value, &value);
    return value != 0;
}

std::string_view Arguments::text(size_t index) const {
    STRNG value{0, 0, nullptr};
    BTYP_read_string_ref(objects_[index].value, &value);
    return view(value);
}

QOR_MAP *Arguments::map(size_t index) const {
    QOR_MAP *value = nullptr;
    BTYP_read_map_ref(objects_[index].value, &value);
    return value;
}

QOR_OBJECT *Arguments::object(size_t index) const { return objects_[index].value; }

void push(Geometry &&geometry) {
    Object object;
    if (GEOM_ISEMPTY(geometry.get()))
        BTYP_create_undef_geometry(&object.value);
    else
        BTYP_create_geometry_ref(&object.value, geometry.give());
    push(object);
}

void push(std::string_view text) {
    if (text.size() > STRNG_LIMIT) throw No_result{"the result is longer than a text may be"};
    QORCPU_PUSHS(borrow(text));
}

void push(Object &object) { QORCPU_PUSH_OBJ_REF(object.value); }

void create_list(Object *list) { BTYP_create_list(&list->value); }

void append(Object &list, Geometry &&geometry) {
    Object element;
    BTYP_create_geometry_ref(&element.value, geometry.give());
    BTYP_append_to_list(list.value, element.value);
}

void take_into_list(void *list, QOR_GEOMETRY *geometry) {
    append(*static_cast<Object *>(list), Geometry(std::exchange(*geometry, 0)));
}

std::vector<QOR_GEOMETRY> geometries_of(QOR_OBJECT *list, const char *kinds) {
    std::vector<QOR_GEOMETRY> geometries;
    for (QOR_OBJECT *element : elements_of(list)) {
        check(element, kinds);
        if (is_null(element) || GEOM_ISEMPTY(geometry_in(element))) throw No_result{};
        geometries.push_back(geometry_in(element));
    }
    return geometries;
}

std::vector<double> reals_of(QOR_OBJECT *list) {
    std::vector<double> reals;
    for (QOR_OBJECT *element : elements_of(list)) {
        check(element, "r");
        if (is_null(element)) throw No_result{};
        reals.push_back(real_in(element));
    }
    return reals;
}

Stroked::Stroked(QOR_GEOMETRY geometry) : borrowed_(geometry) {
    if (GEOM2_HAS_ARCS(geometry) && !GEOM2_STROKE(geometry, copy_.address(), 0)) throw No_result{};
}

} // namespace geo
