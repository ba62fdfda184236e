// GeoJSON, as RFC 7946 describes it.
#include <algorithm>
#include <cmath>

#include "json.hpp"
#include "shapes.hpp"

namespace geo {

namespace {

// --- reading ---------------------------------------------------------------------------------

class Reader {
  public:
    explicit Reader(std::string_view text) : json_(text) {}
    Reading read() {
        Reading reading;
        with_place([&] { reading = read_geometry(Json::ROOT); });
        return reading;
    }
    void read_features(Object *list) {
        with_place([&] {
            BTYP_create_list(&list->value);
            const Members members = members_of(Json::ROOT);
            const std::string_view type = type_of(members);
            if (type == "FeatureCollection") {
                at("features", [&] {
                    for_each(require(members, "features"), [&](Value feature) {
                        const Members entries = members_of(feature);
                        if (type_of(entries) != "Feature") at("type", [] { throw No_result{"Feature expected"}; });
                        append_feature(list, entries);
                    });
                });
            } else if (type == "Feature") {
                append_feature(list, members);
            } else {
                append_feature(list, {{"geometry", Json::ROOT}});
            }
        });
    }

  private:
    using Value = Json::Value;
    using Members = std::vector<Json::Member>;
    using Type = Json::Type;
    static constexpr Value NONE = static_cast<Value>(-1);
    static constexpr int MAX_LEVELS = 100;   // of properties
    static constexpr size_t MAX_NAME = 1024; // a map's longest key

    // --- where the reader is: a name, or an index in an array ---
    struct Step {
        std::string_view name;
        size_t index = 0;
    };
    // After a refusal the path still tells where it was.
    template <typename Work> void with_place(Work work) {
        try {
            work();
        } catch (const No_result &refusal) {
            throw No_result{path() + refusal.reason};
        }
    }
    template <typename Work> void at(std::string_view name, Work work) {
        path_.push_back({name});
        work();
        path_.pop_back();
    }
    // Calls work(element) for the elements of an array.
    template <typename Work> void for_each(Value array, Work work) {
        if (json_.type(array) != Type::ARRAY) expected("an array", array);
        path_.emplace_back();
        for (Value value = Json::first(array); value != json_.behind(array); value = json_.behind(value)) {
            work(value);
            ++path_.back().index;
        }
        path_.pop_back();
    }
    std::string path() const {
        std::string text;
        for (const Step &step : path_) {
            if (step.name.empty()) {
                text.append("[").append(std::to_string(step.index)).append("]");
            } else {
                text.append(text.empty() ? "" : ".").append(step.name);
            }
        }
        return text.empty() ? text : text + ": ";
    }
    [[noreturn]] void expected(const char *what, Value found) const {
        throw No_result{std::string(what) + " expected, not " + json_.type_name(found)};
    }

    // --- members ---
    Members members_of(Value object) const {
        if (json_.type(object) != Type::OBJECT) expected("an object", object);
        return json_.members(object);
    }
    static Value find(const Members &members, std::string_view name) {
        for (const Json::Member &member : members)
            if (member.name == name) return member.value;
        return NONE;
    }
    static Value require(const Members &members, const char *name) {
        const Value value = find(members, name);
        if (value == NONE) throw No_result{std::string("the member ") + name + " is missing"};
        return value;
    }
    std::string_view type_of(const Members &members) {
        const Value type = require(members, "type");
        if (json_.type(type) != Type::STRING) at("type", [&] { expected("a string", type); });
        return json_.text(type);
    }

    // --- geometries ---
    Reading read_geometry(Value object) {
        builder_ = Builder();
        build(object);
        return builder_.finish();
    }
    void build(Value object) {
        const Members members = members_of(object);
        const Kind kind = kind_named(type_of(members));
        if (kind == Kind::NONE) at("type", [] { throw No_result{"a kind of geometry expected"}; });
        if (kind == Kind::GEOMETRYCOLLECTION) {
            const Value geometries = require(members, "geometries");
            builder_.open(kind);
            at("geometries", [&] { for_each(geometries, [this](Value geometry) { build(geometry); }); });
            builder_.close();
        } else {
            const Value coordinates = require(members, "coordinates");
            at("coordinates", [&] { build_from(coordinates, kind); });
        }
    }
    static Kind kind_named(std::string_view name) {
        for (auto kind = Kind::POINT; kind <= Kind::GEOMETRYCOLLECTION; kind = next(kind))
            if (name == row_of(kind).json_name) return kind;
        return Kind::NONE;
    }
    void build_from(Value coordinates, Kind kind) {
        builder_.open(kind);
        const Kind member = row_of(kind).plain_member;
        if (kind != Kind::POINT) {
            for_each(coordinates,
                     [&](Value value) { member == Kind::NONE ? build_place(value) : build_from(value, member); });
        } else if (json_.type(coordinates) != Type::ARRAY || !json_.is_empty(coordinates)) {
            build_place(coordinates);
        }
        builder_.close();
    }
    void build_place(Value position) {
        double place[3] = {0, 0, NO_Z};
        size_t count = 0;
        for_each(position, [&](Value value) {
            if (count == 3) throw No_result{"a position has two or three numbers"};
            if (!json_.is_number(value)) expected("a number", value);
            place[count++] = json_.number(value);
        });
        if (count < 2) throw No_result{"a position has two or three numbers"};
        builder_.add(place[0], place[1], place[2]);
    }

    // --- features ---
    void append_feature(Object *list, const Members &members) {
        Object feature, geometry, properties;
        QOR_MAP *map = create_map(&feature);
        at("geometry", [&] {
            const Value value = find(members, "geometry");
            const bool is_null = value == NONE || json_.type(value) == Type::NUL;
            make_object(is_null ? Reading() : read_geometry(value), &geometry);
        });
        MAP_INSERT_OBJECT_REF_C(map, "GEOMETRY", geometry.value);
        at("properties", [&] {
            const Value value = find(members, "properties");
            QOR_MAP *entries = create_map(&properties);
            if (value != NONE && json_.type(value) != Type::NUL) fill_map(entries, members_of(value), 1);
        });
        MAP_INSERT_OBJECT_REF_C(map, "PROPERTIES", properties.value);
        if (const Value value = find(members, "id"); value != NONE) {
            Object id;
            at("id", [&] {
                if (json_.type(value) != Type::STRING && !json_.is_number(value))
                    expected("a string or a number", value);
                make_property(value, 1, &id);
            });
            MAP_INSERT_OBJECT_REF_C(map, "ID", id.value);
        }
        BTYP_append_to_list(list->value, feature.value);
    }
    static QOR_MAP *create_map(Object *object) {
        QOR_MAP *map = nullptr;
        MAP_CREATE_NONAME(&map);
        BTYP_create_map_ref(&object->value, map);
        return map;
    }
    void fill_map(QOR_MAP *map, const Members &members, int level) {
        for (const auto &[name, value] : members) {
            if (name.empty()) throw No_result{"a name is empty"};
            if (name.size() > MAX_NAME) throw No_result{"a name is longer than 1024 bytes"};
            if (name == "DEFAULT") throw No_result{"the name DEFAULT is no entry of a map"};
            Object object;
            at(name, [&, value = value] { make_property(value, level, &object); });
            MAP_INSERT_OBJECT_REF(map, borrow(name), object.value);
        }
    }
    void make_property(Value value, int level, Object *object) {
        if (level > MAX_LEVELS) throw No_result{"more than 100 levels"};
        switch (json_.type(value)) {
        case Type::NUL: BTYP_create_undef_string(&object->value); break;
        case Type::FALSE: BTYP_create_boolean(&object->value, 0); break;
        case Type::TRUE: BTYP_create_boolean(&object->value, 1); break;
        case Type::INTEGER: make_integer(json_.integer(value), object); break;
        case Type::REAL: BTYP_create_real(&object->value, json_.number(value)); break;
        case Type::STRING: BTYP_create_string(&object->value, borrow(json_.text(value))); break;
        case Type::OBJECT: fill_map(create_map(object), members_of(value), level + 1); break;
        case Type::ARRAY:
            BTYP_create_list(&object->value);
            for_each(value, [&](Value element_value) {
                Object element;
                make_property(element_value, level + 1, &element);
                BTYP_append_to_list(object->value, element.value);
            });
        }
    }
    static void make_integer(int64_t value, Object *object) {
        if (value == static_cast<int32_t>(value)) {
            BTYP_create_int(&object->value, static_cast<int32_t>(value));
        } else {
            BTYP_create_long(&object->value, value);
        }
    }

    const Json json_;
    std::vector<Step> path_;
    Builder builder_;
};

// --- writing ---------------------------------------------------------------------------------

class Writer {
  public:
    explicit Writer(const Survey &found) { text_.reserve(found.text_size()); }
    void open(Kind kind, size_t) {
        separate();
        if (kinds_.empty() || kinds_.back() == Kind::GEOMETRYCOLLECTION) {
            text_ += std::string(R"({"type":")") + row_of(kind).json_name + R"(",")";
            text_ += kind == Kind::GEOMETRYCOLLECTION ? R"(geometries":)" : R"(coordinates":)";
        }
        if (kind != Kind::POINT) text_ += '[';
        kinds_.push_back(kind);
        is_first_ = true;
    }
    void add(const Vertex &vertex) {
        separate();
        char digits[100] = "[", *end = write_number(vertex.x, digits + 1);
        *end++ = ',';
        end = write_number(vertex.y, end);
        if (!std::isnan(vertex.z)) {
            *end++ = ',';
            end = write_number(vertex.z, end);
        }
        *end++ = ']';
        text_.append(digits, static_cast<size_t>(end - digits));
    }
    void close() {
        if (kinds_.back() != Kind::POINT) text_ += ']';
        kinds_.pop_back();
        if (kinds_.empty() || kinds_.back() == Kind::GEOMETRYCOLLECTION) text_ += '}';
        is_first_ = false;
    }
    // Outer rings counter-clockwise, holes clockwise.
    static void turn(Polygons &area) {
        for (const auto &polygon : area.polygons) {
            for (const size_t ring : polygon) {
                const bool is_outer = ring == polygon.front();
                const double content = content_of(area.rings[ring]);
                if (is_outer ? content < 0 : content > 0)
                    std::reverse(area.rings[ring].begin(), area.rings[ring].end());
            }
        }
    }
    std::string take() { return std::move(text_); }

  private:
    // Twice the content, positive when the ring runs counter-clockwise.
    static double content_of(const Curve &ring) {
        double sum = 0;
        const Vertex origin = ring.front();
        for (size_t i = 1; i < ring.size(); ++i)
            sum += (ring[i - 1].x - origin.x) * (ring[i].y - origin.y) -
                   (ring[i].x - origin.x) * (ring[i - 1].y - origin.y);
        return sum;
    }
    void separate() {
        if (!std::exchange(is_first_, false)) text_ += ',';
    }

    std::string text_;
    std::vector<Kind> kinds_;
    bool is_first_ = true;
};

} // namespace

Reading read_geojson(std::string_view text) { return Reader(text).read(); }

void read_features(std::string_view text, Object *list) { Reader(text).read_features(list); }

std::string write_geojson(const Source &source, double tolerance) {
    std::vector<Geometry> copies;
    Source straight = source;
    if (survey(source).has_arcs) {
        for (QOR_GEOMETRY &geometry : straight.geometries) {
            GEOM2_STROKE(geometry, copies.emplace_back().address(), tolerance);
            geometry = copies.back().get();
        }
    }
    const Survey found = survey(straight);
    Writer writer(found);
    write_shapes(writer, straight, found.list_kind);
    return writer.take();
}

} // namespace geo
