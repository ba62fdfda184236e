// Making points, lines and areas.
#include "geometries.hpp"

namespace geo {

namespace {

void create_point() {
    run("CREATE_POINT", "rr", "g", [](const Arguments &values) {
        check_coordinates({values.real(0), values.real(1)});
        push(Position{values.real(0), values.real(1)});
    });
}

void create_point_3d() {
    run("CREATE_POINT_3D", "rrr", "g", [](const Arguments &values) {
        check_coordinates({values.real(0), values.real(1), values.real(2)});
        push(Position{values.real(0), values.real(1), values.real(2)});
    });
}

// --- lines -------------------------------------------------------------------------------

Geometry line_of(const std::vector<QOR_GEOMETRY> &points) {
    if (points.size() < 2) throw No_result{"a line needs two points"};
    Geometry line;
    GEOM_CREATE_LINE(line.address(), points[0], 0, 0, 0, GEOM_NO_HEIGHT, points[1]);
    for (size_t i = 2; i < points.size(); ++i)
        GEOM_APPEND_LINE_POINT(line.address(), 0, 0, 0, GEOM_NO_HEIGHT, points[i]);
    return line;
}

void create_line() {
    run("CREATE_LINE", "L", "g", [](const Arguments &values) { push(line_of(geometries_of(values.object(0), "p"))); });
}

// What runs from a point, or from the end of a line, to the next point.
Geometry lengthened(QOR_GEOMETRY start, double arc, const Position &over, QOR_GEOMETRY point) {
    if (GEOM_ISEMPTY(start) || GEOM_ISEMPTY(point)) throw No_result{};
    const int32_t kind = kind_of(start);
    Geometry line;
    if (kind == GEOM_POINT) {
        GEOM_CREATE_LINE(line.address(), start, arc, over.x, over.y, over.z, point);
    } else if (kind == GEOM_LINE) {
        line = copy_of(start);
        GEOM_APPEND_LINE_POINT(line.address(), arc, over.x, over.y, over.z, point);
    } else {
        throw Fault{std::string("point or line expected, not ") + kind_name(kind)};
    }
    return line;
}

void line_to() {
    run("LINE_TO", "gp", "g",
        [](const Arguments &values) { push(lengthened(values.geometry(0), 0, {}, values.geometry(1))); });
}

void arc_to() {
    run("ARC_TO", "gpp", "g", [](const Arguments &values) {
        push(lengthened(values.geometry(0), 1, position_of(values.geometry(1)), values.geometry(2)));
    });
}

void join_lines() {
    run("JOIN_LINES", "Lr", "L", [](const Arguments &values) {
        const std::vector<QOR_GEOMETRY> lines = geometries_of(values.object(0), "l");
        check_places(lines);
        check_tolerance(values.real(1));
        Object joined;
        create_list(&joined);
        GEOM_JOIN_LINES(lines.data(), static_cast<int32_t>(lines.size()), values.real(1), take_into_list, &joined,
                        nullptr);
        push(joined);
    });
}

// --- rands and areas -----------------------------------------------------------------------

Geometry rand_of(const std::vector<QOR_GEOMETRY> &lines) {
    Geometry rand;
    int32_t status = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        status = GEOM_BUILD_RAND_LINE(rand.address(), lines[i]);
        if (status < 0) throw No_result{"line " + std::to_string(i + 1) + " does not continue the ring"};
    }
    if (status == 0) throw No_result{"the ring is not closed"};
    return rand;
}

Geometry area_of(const std::vector<QOR_GEOMETRY> &rings) {
    if (rings.empty()) throw No_result{"an area needs a ring"};
    Geometry area;
    for (const QOR_GEOMETRY ring : rings) {
        const Geometry made = kind_of(ring) == GEOM_LINE ? rand_of({ring}) : Geometry();
        const QOR_GEOMETRY rand = made.get() ? made.get() : ring;
        if (area.get())
            GEOM_APPEND_AREA_RAND(area.address(), rand);
        else
            GEOM_CREATE_AREA(area.address(), rand);
    }
    return area;
}

void create_rand() {
    run("CREATE_RAND", "L", "g", [](const Arguments &values) { push(rand_of(geometries_of(values.object(0), "l"))); });
}

void create_area() {
    run("CREATE_AREA", "o", "g", [](const Arguments &values) { push(area_of(geometries_of(values.object(0), "ld"))); });
}

void build_area() {
    run("BUILD_AREA", "L", "g", [](const Arguments &values) {
        const std::vector<QOR_GEOMETRY> lines = geometries_of(values.object(0), "l");
        check_places(lines);
        Geometry area;
        if (!GEOM_BUILD_AREA(lines.data(), static_cast<int32_t>(lines.size()), area.address()))
            throw No_result{"the lines do not make closed rings"};
        push(std::move(area));
    });
}

void create_box() {
    run("CREATE_BOX", "rrrr", "g", [](const Arguments &values) {
        const double xmin = values.real(0), ymin = values.real(1), xmax = values.real(2), ymax = values.real(3);
        check_coordinates({xmin, ymin, xmax, ymax});
        if (xmin >= xmax || ymin >= ymax) throw No_result{"the box has no content"};
        const Geometry corners[] = {point_at({xmin, ymin}), point_at({xmax, ymin}), point_at({xmax, ymax}),
                                    point_at({xmin, ymax})};
        const Geometry line =
            line_of({corners[0].get(), corners[1].get(), corners[2].get(), corners[3].get(), corners[0].get()});
        push(area_of({line.get()}));
    });
}

void create_circle() {
    run("CREATE_CIRCLE", "pr", "g", [](const Arguments &values) {
        const Position centre = position_of(values.geometry(0));
        const double radius = values.real(1);
        check_coordinates({centre.x, centre.y, radius});
        Position east = centre, north = centre, west = centre, south = centre;
        east.x += radius;
        north.y += radius;
        west.x -= radius;
        south.y -= radius;
        check_coordinates({east.x, north.y, west.x, south.y});
        // A radius may be too small to make a difference to a large coordinate.
        if (!(west.x < centre.x && centre.x < east.x && south.y < centre.y && centre.y < north.y))
            throw No_result{"the radius is too small"};
        const Geometry start = point_at(east);
        const Geometry half = lengthened(start.get(), 1, north, point_at(west).get());
        const Geometry circle = lengthened(half.get(), 1, south, start.get());
        push(area_of({circle.get()}));
    });
}

// --- attributes ------------------------------------------------------------------------------

void get_attribute() {
    run("GET_ATTRIBUTE", "g", "i", [](const Arguments &values) { QORCPU_PUSHI(GEOM_GET_GATTR(values.geometry(0))); });
}

void set_attribute() {
    run("SET_ATTRIBUTE", "gi", "g", [](const Arguments &values) {
        Geometry copy = copy_of(values.geometry(0));
        if (GEOM_ISEMPTY(copy.get())) throw No_result{};
        GEOM_SET_GATTR(copy.get(), values.integer(1));
        push(std::move(copy));
    });
}

constexpr Row METHODS[] = {
    {"GEO", "CREATE_POINT", create_point, 2, 1, "[r x,r y][g point]"},
    {"GEO", "CREATE_POINT_3D", create_point_3d, 3, 1, "[r x,r y,r z][g point]"},
    {"GEO", "CREATE_LINE", create_line, 1, 1, "[l points][g line]"},
    {"GEO", "LINE_TO", line_to, 2, 1, "[g line,g point][g line]"},
    {"GEO", "ARC_TO", arc_to, 3, 1, "[g line,g over,g point][g line]"},
    {"GEO", "JOIN_LINES", join_lines, 2, 1, "[l lines,r tolerance][l lines]"},
    {"GEO", "CREATE_RAND", create_rand, 1, 1, "[l lines][g rand]"},
    {"GEO", "CREATE_AREA", create_area, 1, 1, "[o rands][g area]"},
    {"GEO", "BUILD_AREA", build_area, 1, 1, "[l lines][g area]"},
    {"GEO", "CREATE_BOX", create_box, 4, 1, "[r xmin,r ymin,r xmax,r ymax][g area]"},
    {"GEO", "CREATE_CIRCLE", create_circle, 2, 1, "[g center,r radius][g area]"},
    {"GEO", "GET_ATTRIBUTE", get_attribute, 1, 1, "[g geometry][i attribute]"},
    {"GEO", "SET_ATTRIBUTE", set_attribute, 2, 1, "[g geometry,i attribute][g geometry]"},
};

} // namespace

std::span<const Row> create_methods() { return METHODS; }

} // namespace geo
