// Segments, arcs, what lies in an area, and changes of coordinates.
#include "kernel_environment.hpp"

#include <cmath>
#include <random>
#include <vector>

#include "geometries.hpp"

namespace {

// A point of a line, with the point of an arc before it.
struct Step {
    double x, y;
    bool is_arc = false;
    double ax = 0, ay = 0, z = FLAT;
};
using Steps = std::vector<Step>;

Geom make_line(const Steps &steps) {
    Geom line, point, next;
    GEOM_CREATE_POINT(&point.word, steps[0].x, steps[0].y, steps[0].z);
    for (size_t i = 1; i < steps.size(); ++i) {
        const Step &s = steps[i];
        GEOM_CREATE_POINT(&next.word, s.x, s.y, s.z);
        if (i == 1) {
            GEOM_CREATE_LINE(&line.word, point.word, s.is_arc, s.ax, s.ay, FLAT, next.word);
        } else {
            GEOM_APPEND_LINE_POINT(&line.word, s.is_arc, s.ax, s.ay, FLAT, next.word);
        }
    }
    return line;
}

Geom make_area(const std::vector<Steps> &rings) {
    Geom area, rand;
    for (const Steps &ring : rings) {
        GEOM_CREATE_RAND(&rand.word, make_line(ring).word);
        area.word ? GEOM_APPEND_AREA_RAND(&area.word, rand.word) : GEOM_CREATE_AREA(&area.word, rand.word);
    }
    return area;
}

Steps square(double x, double y, double size) {
    return {{x, y}, {x + size, y}, {x + size, y + size}, {x, y + size}, {x, y}};
}

Steps read_line(QOR_GEOMETRY line) {
    Steps steps;
    for (GEOM_RESET_READ(&line);;) {
        double arc, az;
        Step s;
        QOR_GEOMETRY point;
        int32_t found;
        GEOM_READ_LINE_POINT(&line, &arc, &s.ax, &s.ay, &az, &point, &found);
        if (!found) return steps;
        s.is_arc = arc != 0;
        GEOM_READ_POINT(point, &s.x, &s.y, &s.z);
        steps.push_back(s);
    }
}

GEOM_XY on_circle(GEOM_XY c, double r, double angle) { return {c.x + r * std::cos(angle), c.y + r * std::sin(angle)}; }
double distance(GEOM_XY a, GEOM_XY b) { return std::hypot(a.x - b.x, a.y - b.y); }

std::mt19937 randomness(7);
double random_between(double from, double to) { return std::uniform_real_distribution<>(from, to)(randomness); }

TEST(Arc, NumbersAreThoseOfTheCircle) {
    for (GEOM_XY centre : {GEOM_XY{0, 0}, GEOM_XY{-3e5, 5e6}}) {
        for (double sweep : {0.01, -0.3, 1.0, -1.7, PI, 4.0, -5.5, 6.28}) {
            const double r = 250, start = random_between(-PI, PI), near = 1e-15 * distance(centre, {0, 0}) + 1e-13 * r;
            const GEOM_XY a = on_circle(centre, r, start), o = on_circle(centre, r, start + sweep * 0.4),
                          b = on_circle(centre, r, start + sweep);
            // A place on the arc is exact but for rounding; what that does to the circle grows with flatness.
            const double flat = near * 64 / (sweep * sweep) + near * 64 / std::pow(2 * PI - std::abs(sweep), 2);
            double x, y, radius, found;
            ASSERT_TRUE(C2R_CALC_CENTER2(a.x, a.y, o.x, o.y, b.x, b.y, &x, &y, &radius, &found));
            EXPECT_NEAR(distance({x, y}, centre), 0, flat) << sweep;
            EXPECT_NEAR(radius, r, flat);
            EXPECT_NEAR(found, sweep, flat);
            EXPECT_NEAR(GEOM_GET_LENGTH(make_line({{a.x, a.y}, {b.x, b.y, true, o.x, o.y}}).word, 0),
                        r * std::abs(sweep), r * flat);
            EXPECT_NEAR(GEOM_GET_ARC_AREA(a.x, a.y, o.x, o.y, b.x, b.y), r * r * (sweep - std::sin(sweep)) / 2,
                        r * r * flat);
            double box[4], expected[4] = {INF, INF, -INF, -INF};
            for (int i = 0; i <= 20000; ++i) {
                const GEOM_XY p = on_circle(centre, r, start + sweep * i / 20000);
                expected[0] = std::min(expected[0], p.x), expected[1] = std::min(expected[1], p.y);
                expected[2] = std::max(expected[2], p.x), expected[3] = std::max(expected[3], p.y);
            }
            GEOM2_CALC_BOUNDINGBOX_ARC(a.x, a.y, o.x, o.y, b.x, b.y, &box[0], &box[1], &box[2], &box[3]);
            for (int i = 0; i < 4; ++i) EXPECT_NEAR(box[i], expected[i], 1e-5) << sweep << ' ' << i;
        }
    }
}

// The height h of an arc over a chord of 2: content 4h/3, length 2 + 4hh/3, both but for h^3.
TEST(Arc, FlatArcsStayAccurate) {
    for (double h : {1e-3, 1e-6, 1e-9, 1e-12}) {
        EXPECT_NEAR(GEOM_GET_ARC_AREA(1, 0, 0, h, -1, 0) / h, 4.0 / 3, h * h + 1e-12) << h;
        const Geom line = make_line({{1, 0}, {-1, 0, true, 0, h}});
        EXPECT_NEAR(GEOM_GET_LENGTH(line.word, 0), 2 + 4 * h * h / 3, h * h * h + 1e-15);
        double x1, y1, x2, y2;
        GEOM2_CALC_BOUNDING_BOX(line.word, &x1, &y1, &x2, &y2);
        EXPECT_TRUE(x1 == -1 && y1 == 0 && x2 == 1);
        EXPECT_NEAR(y2 / h, 1, 1e-9);
        Geom stroked;
        GEOM2_STROKE(line.word, &stroked.word, h / 100);
        for (const Step &s : read_line(stroked.word)) EXPECT_NEAR(s.y / h, 1 - s.x * s.x, 1e-3 + h);
    }
}

TEST(Arc, ThreePointsWithoutCircle) {
    const struct {
        GEOM_XY a, over, b;
        double length;
    } cases[] = {
        {{0, 0}, {1, 1}, {3, 3}, std::hypot(3, 3)},
        {{0.1, 0.1}, {0.2, 0.2}, {0.3, 0.3}, std::hypot(0.2, 0.2)},
        {{0, 0}, {5, 0}, {3, 0}, 3},
        {{1, 2}, {1, 2}, {1, 2}, 0},
        {{1, 2}, {1, 2}, {4, 6}, 5},
        {{0, 0}, {NO_NUMBER, 1}, {3, 4}, 5},
        {{0, 0}, {1, INF}, {3, 4}, 5},
        {{0, 0}, {1e300, 1e299}, {3, 4}, 5},
    };
    for (const auto &c : cases) {
        double r, x, y;
        EXPECT_FALSE(GEOM2_GET_ARC_RADIUS(c.a.x, c.a.y, c.over.x, c.over.y, c.b.x, c.b.y, &r)) << c.over.x;
        EXPECT_FALSE(GEOM2_GET_ARC_CENTER(c.a.x, c.a.y, c.over.x, c.over.y, c.b.x, c.b.y, &x, &y));
        const Geom line = make_line({{c.a.x, c.a.y}, {c.b.x, c.b.y, true, c.over.x, c.over.y}});
        EXPECT_DOUBLE_EQ(GEOM_GET_LENGTH(line.word, 0), c.length);
        EXPECT_FALSE(GEOM2_HAS_ARCS(line.word));
    }
    GEOM_CIRCLE circle;
    ASSERT_TRUE(INTERNAL(GEOM2_ARC_CIRCLE_PREPARE)(2, 1, -4, 1, 2, 1, &circle));
    EXPECT_TRUE(circle.x == -1 && circle.y == 1 && circle.radius == 3 && circle.start == 0 && circle.sweep == 2 * PI);
}

TEST(Arc, VectorsAndCentres) {
    EXPECT_DOUBLE_EQ(C2_AZI(C2_VEC(1, 0)), PI / 2);
    EXPECT_DOUBLE_EQ(C2_GETAZI({1, 1}, C2_ADDV({0, 1}, {0, -1})), 5 * PI / 4);
    EXPECT_TRUE(C2_AZI({-0.0, 1}) == 0 && C2_AZI({0, -0.0}) == 0 && C2_AZI({-1e-300, 1}) < 2 * PI);
    EXPECT_NEAR(distance(C2_AZITOVEC(PI, 2), {0, -2}), 0, 1e-15);
    double x, y, sweep;
    ASSERT_TRUE(C2R_CALC_CENTER(1, 0, 0, 1, 1, &x, &y, &sweep));
    EXPECT_NEAR(distance({x, y}, {0, 0}) + std::abs(sweep - PI / 2), 0, 1e-15);
    ASSERT_TRUE(C2R_CALC_CENTER(1, 0, 0, 1, -1, &x, &y, &sweep));
    EXPECT_NEAR(distance({x, y}, {1, 1}) + std::abs(sweep + PI / 2), 0, 1e-15);
    EXPECT_FALSE(C2R_CALC_CENTER(0, 0, 3, 0, 1.4, &x, &y, &sweep) || C2R_CALC_CENTER(1, 1, 1, 1, 2, &x, &y, &sweep));
    ASSERT_TRUE(C2R_CALC_ARCPOINT(0, 1, 1, 0, 0, 0, &x, &y));
    EXPECT_NEAR(distance({x, y}, {-std::sqrt(0.5), -std::sqrt(0.5)}), 0, 1e-15);
    ASSERT_TRUE(C2R_CALC_ARCPOINT(2, 1, 2, 1, 0, 0, &x, &y));
    EXPECT_NEAR(distance({x, y}, {-2, -1}), 0, 1e-15);
    EXPECT_FALSE(C2R_CALC_ARCPOINT(2, 1, 3, 1, 2, 1, &x, &y));
}

TEST(Segments, CommonPoints) {
    const GEOM_SEGMENT upper{-1, 0, 1, 0, 1, 1, 0}, lower{1, 0, 1, 0, -1, -1, 0}, circle{2, 0, 1, 0, 0, 2, 0};
    const auto straight = [](double x1, double y1, double x2, double y2) {
        return GEOM_SEGMENT{x1, y1, 0, 0, 0, x2, y2};
    };
    const double h = std::sqrt(0.5);
    const struct {
        const char *what;
        GEOM_SEGMENT a, b;
        std::vector<GEOM_XY> expected;
    } cases[] = {
        {"crossing", straight(0, 0, 4, 4), straight(0, 4, 4, 0), {{2, 2}}},
        {"apart", straight(0, 0, 1, 1), straight(0, 4, 4, 0), {}},
        {"end on", straight(0, 0, 4, 0), straight(3, 5, 3, 0), {{3, 0}}},
        {"shared end", straight(0, 0, 0.1, 0.7), straight(0.1, 0.7, 0.3, 2.1), {{0.1, 0.7}}},
        {"overlap", straight(4, 0, 0, 0), straight(-1, 0, 3, 0), {{3, 0}, {0, 0}}},
        {"within", straight(0, 0, 9, 3), straight(6, 2, 3, 1), {{3, 1}, {6, 2}}},
        {"parallel", straight(0, 0, 9, 3), straight(0, 1, 9, 4), {}},
        {"a point", straight(2, 2, 2, 2), straight(0, 0, 4, 4), {{2, 2}}},
        {"line and arc", straight(3, 0.5, -3, 0.5), upper, {{std::sqrt(0.75), 0.5}, {-std::sqrt(0.75), 0.5}}},
        {"one side only", straight(h, -3, h, 3), upper, {{h, h}}},
        {"chord", straight(-1, 0, 1, 0), upper, {{-1, 0}, {1, 0}}},
        {"tangent", straight(-5, 1, 5, 1), upper, {{0, 1}}},
        {"tangent at the end", straight(1, -4, 1, 0), upper, {{1, 0}}},
        {"beside", straight(-5, 1.0000001, 5, 1.0000001), upper, {}},
        {"circles", upper, circle, {{0.5, std::sqrt(0.75)}}},
        {"half circles", upper, lower, {{-1, 0}, {1, 0}}},
        {"touching from outside", upper, {3, 0, 1, 2, 1, 1, 0}, {{1, 0}}},
        {"touching from inside", upper, {0, 0, 1, 0, 1, 0, 0}, {{0, 1}}},
        {"concentric", upper, {-2, 0, 1, 0, 2, 2, 0}, {}},
        {"stretch of a circle", upper, {0, 1, 1, h, h, h, -h}, {{0, 1}, {1, 0}}},
        {"equal arcs", upper, {1, 0, 1, h, h, -1, 0}, {{-1, 0}, {1, 0}}},
        {"equal circles", circle, {1, 1, 1, 1, -1, 1, 1}, {}},
        {"arc through the ends of a diameter", circle, {1, 1, 1, -1, 1, 1, -1}, {{1, 1}, {1, -1}}},
        {"arc of a circle", circle, {1, 1, 1, 0, 0, 1, -1}, {{1, 1}, {1, -1}}},
        {"not a number", straight(0, 0, NO_NUMBER, 4), straight(0, 4, 4, 0), {}},
    };
    for (const auto &c : cases) {
        for (double offset : {0.0, 4096.0}) {
            GEOM_SEGMENT a = c.a, b = c.b;
            for (GEOM_SEGMENT *s : {&a, &b})
                for (double *v : {&s->x1, &s->y1, &s->ax, &s->ay, &s->x2, &s->y2}) *v += offset;
            GEOM_XY found[2];
            int32_t count;
            GEOM2_LINESEGMENT_INTERSECTION(&a, &b, &found[0], &found[1], &count);
            ASSERT_EQ(count, static_cast<int32_t>(c.expected.size())) << c.what << offset;
            for (int i = 0; i < count; ++i)
                EXPECT_NEAR(distance(found[i], {c.expected[i].x + offset, c.expected[i].y + offset}), 0,
                            1e-15 + 1e-15 * offset)
                    << c.what;
        }
    }
}

TEST(Segments, RandomCommonPointsLieOnBothAndSharedEndsAreExact) {
    int crossings = 0;
    for (int i = 0; i < 20000; ++i) {
        GEOM_SEGMENT s[2];
        for (GEOM_SEGMENT &t : s) {
            for (double *v : {&t.x1, &t.y1, &t.ax, &t.ay, &t.x2, &t.y2}) *v = random_between(-1, 1);
            t.arc = i % 3 == 0 || (i % 3 == 1 && &t == s);
        }
        const bool share = i % 2;
        if (share) s[1].x1 = s[0].x2, s[1].y1 = s[0].y2;
        GEOM_XY found[2];
        int32_t count;
        GEOM2_LINESEGMENT_INTERSECTION(&s[0], &s[1], &found[0], &found[1], &count);
        bool is_exact = false;
        for (int k = 0; k < count; ++k) {
            is_exact = is_exact || (found[k].x == s[0].x2 && found[k].y == s[0].y2);
            for (const GEOM_SEGMENT &t : s) {
                const Geom line = make_line({{t.x1, t.y1}, {t.x2, t.y2, t.arc != 0, t.ax, t.ay}});
                double r = 0, x, y;
                if (t.arc == 0) {
                    const double detour = distance({t.x1, t.y1}, found[k]) + distance(found[k], {t.x2, t.y2});
                    EXPECT_NEAR(detour, distance({t.x1, t.y1}, {t.x2, t.y2}), 1e-9);
                } else if (GEOM2_GET_ARC_RADIUS(t.x1, t.y1, t.ax, t.ay, t.x2, t.y2, &r) && r < 100) {
                    GEOM2_GET_ARC_CENTER(t.x1, t.y1, t.ax, t.ay, t.x2, t.y2, &x, &y);
                    EXPECT_NEAR(distance({x, y}, found[k]), r, 1e-9);
                }
            }
        }
        crossings += share ? 0 : count;
        EXPECT_TRUE(!share || count == 2 || is_exact) << i;
    }
    EXPECT_GT(crossings, 1000);
}

bool is_inside(GEOM_XY p, const Geom &area) { return GEOM_IS_INSIDEAREA(p, area.word); }
// The first question after a change is answered without the index.
bool is_inside_unindexed(GEOM_XY p, const Geom &area) {
    GEOM_MOVE(area.word, 0, 0, 0);
    return is_inside(p, area);
}

// A ring around the origin, in which straight segments and arcs follow each other.
Steps star(int corners, double arcs) {
    Steps steps;
    for (int i = 0; i < corners; ++i) {
        const GEOM_XY p = on_circle({0, 0}, random_between(1, 3), 2 * PI * i / corners),
                      o = on_circle({0, 0}, random_between(1.5, 2.5), 2 * PI * (i - 0.5) / corners);
        steps.push_back({p.x, p.y, i > 0 && random_between(0, 1) < arcs, o.x, o.y});
    }
    steps.push_back({steps[0].x, steps[0].y});
    return steps;
}

TEST(Inside, StarsAnswerByTheSideOfTheEdge) {
    const Steps ring = star(400, 0);
    const Geom area = make_area({ring});
    for (int i = 0; i < 4000; ++i) {
        const Step &a = ring[i % 400], &b = ring[i % 400 + 1];
        const double t = random_between(0, 1), f = random_between(0.9, 1.1);
        const GEOM_XY p{f * (a.x + t * (b.x - a.x)), f * (a.y + t * (b.y - a.y))};
        ASSERT_TRUE(is_inside(p, area) == (f < 1) || std::abs(f - 1) < 1e-9) << i;
    }
}

TEST(Inside, ArcsAreExact) {
    Geom disc;
    INTERNAL(GEOM2_CREATE_CIRCLE)(&disc.word, 10, -20, 5);
    Geom full = make_area({{{15, -20}, {15, -20, true, 5, -20}}});
    for (int i = 0; i < 5000; ++i) {
        const double r = 5 + random_between(-1, 1) * std::pow(10, random_between(-13, 0.7));
        const GEOM_XY p = on_circle({10, -20}, r, random_between(-PI, PI));
        if (std::abs(r - 5) < 2e-13) continue;
        for (const Geom *area : {&disc, &full}) {
            ASSERT_EQ(is_inside(p, *area), r < 5) << r - 5;
            ASSERT_EQ(is_inside_unindexed(p, *area), r < 5) << r - 5;
        }
    }
    // The border belongs to the area, and the height of an extreme is no border by itself.
    for (int i = 0; i < 1000; ++i) EXPECT_TRUE(is_inside(on_circle({10, -20}, 5, i), disc)) << i;
    for (double y : {-25.0, -20.0, -15.0}) EXPECT_FALSE(is_inside({4, y}, disc) || is_inside({16, y}, disc)) << y;
    EXPECT_FALSE(is_inside({NO_NUMBER, -20}, disc) || is_inside({10, NO_NUMBER}, disc) || is_inside({10, INF}, disc));
    EXPECT_FALSE(GEOM_IS_INSIDEAREA({0, 0}, 0));
    EXPECT_ABORT(GEOM_IS_INSIDEAREA({0, 0}, make_line({{0, 0}, {1, 1}}).word), "area expected, not line\n");
}

TEST(Inside, TheIndexChangesNoAnswer) {
    const Steps comb = [] {
        Steps steps{{0, -3}};
        for (int i = 0; i < 300; ++i) steps.push_back({i * 0.01 - 1.5, i % 2 ? 3.0 : -2.5});
        steps.push_back({2, -3});
        steps.push_back(steps[0]);
        return steps;
    }();
    const Steps open{{-2, -2}, {2, -2}, {2, 2}}, nan{{-2, -2}, {2, -2}, {NO_NUMBER, 1}, {2, 2}, {-2, 2}, {-2, -2}};
    const std::vector<std::vector<Steps>> cases{{star(60, 1)}, {star(60, 0.5), square(-0.5, -0.5, 1)}, {comb},
                                                {open},        {{{-2, 1}, {2, 1}, {-2, 1}}},           {nan}};
    for (const auto &rings : cases) {
        const Geom area = make_area(rings), index = make_area(rings);
        std::vector<GEOM_XY> places;
        for (const Steps &ring : rings)
            for (const Step &a : ring)
                for (const Step &b : {ring[0], ring[1], a}) places.push_back({b.x, a.y});
        for (int i = 0; i < 1000; ++i) places.push_back({random_between(-3, 3), random_between(-3, 3)});
        is_inside({0, 0}, index);
        for (GEOM_XY p : places) ASSERT_EQ(is_inside(p, index), is_inside_unindexed(p, area)) << p.x << ' ' << p.y;
        for (const Step &s : rings[0]) EXPECT_EQ(is_inside({s.x, s.y}, index), &rings != &cases.back());
    }
}

TEST(Inside, RandsInRands) {
    const Steps big = square(0, 0, 10), hole = square(2, 2, 4), island = square(3, 3, 1), aside = square(20, 0, 2),
                diamond{{5, 0}, {10, 5}, {5, 10}, {0, 5}, {5, 0}}, round{{9, 1}, {9, 1, true, 7, 1}};
    std::vector<Steps> many{square(-1, -1, 202)};
    for (int i = 0; i < 10000; ++i) many.push_back(square(2 * (i % 100), 2 * (i / 100), 1));
    const struct {
        const char *what;
        std::vector<Steps> rings;
        double content;
        bool has_holes;
    } cases[] = {
        {"one", {big}, 100, false},
        {"hole first", {hole, big}, 84, true},
        {"island", {island, big, hole}, 85, true},
        {"aside", {big, aside}, 104, false},
        {"touching", {diamond, big}, 50, true},
        {"round hole", {big, round}, 100 - PI, true},
        {"the same twice", {big, big}, 0, true},
        {"many", many, 202 * 202 - 10000, true},
        {"no content", {{{0, 0}, {5, 5}, {0, 0}}}, 0, false},
    };
    for (const auto &c : cases) {
        const Geom area = make_area(c.rings);
        EXPECT_NEAR(GEOM_GET_AREA(area.word), c.content, 1e-9) << c.what;
        EXPECT_EQ(GEOM2_HAS_HOLES(area.word), c.has_holes) << c.what;
        double x = 0, y = 0;
        ASSERT_EQ(GEOM_GET_INSIDEAREA(area.word, &x, &y), c.content > 0) << c.what;
        for (int i = 0; i < 8 && c.content > 0; ++i)
            EXPECT_TRUE(is_inside(on_circle({x, y}, 0.2, i), area)) << c.what << ' ' << x << ' ' << y;
    }
    const Geom line = make_line({{1e6, 1e6}, {1e6 + 1, 1e6}, {1e6 + 1, 1e6 + 1}, {1e6, 1e6}});
    EXPECT_EQ(GEOM_GET_LINE_AREA(line.word), 0.5);
    EXPECT_EQ(GEOM_GET_AREA(line.word), 0);
    const Geom clockwise = make_area({{{0, 0}, {0, 1}, {1, 0}, {0, 0}}});
    EXPECT_TRUE(GEOM2_AREA_CLOCKWISE(clockwise.word) && !GEOM2_AREA_CLOCKWISE(make_area({big}).word));
}

// Everything about a geometry that has no place.
struct Measures {
    double length, content, width, height;
    explicit Measures(QOR_GEOMETRY g) : length(GEOM_GET_LENGTH(g, 0)), content(GEOM_GET_AREA(g)) {
        double x1, y1;
        GEOM2_CALC_BOUNDING_BOX(g, &x1, &y1, &width, &height);
        width -= x1, height -= y1;
    }
};

TEST(Changes, TransformationsScaleMeasures) {
    const Geom original = make_area({star(40, 0.5)});
    const Measures before(original.word);
    const double c = 2 * std::cos(1), s = 2 * std::sin(1);
    const struct {
        double a, b, d, e;
        bool keeps;
    } cases[] = {{c, -s, s, c, true}, {c, s, s, -c, true},   {0, 3, -3, 0, true}, {0, 0, 0, 0, true},
                 {2, 0, 0, 1, false}, {1, 0.5, 0, 1, false}, {1, 1, 1, 1, false}};
    for (const auto &m : cases) {
        Geom area;
        GEOM_COPY(original.word, &area.word);
        GEOM_TRANSFORM_2D(area.word, m.a, m.b, 7, m.d, m.e, -9);
        const Measures after(area.word);
        const double factor = std::abs(m.a * m.e - m.b * m.d);
        EXPECT_NEAR(after.content, before.content * factor, m.keeps ? 1e-12 * before.content : 1e-3 * before.content);
        EXPECT_NEAR(after.length, before.length * std::sqrt(factor), m.keeps ? 1e-11 : INF);
        EXPECT_EQ(GEOM2_HAS_ARCS(area.word), m.keeps && factor > 0);
    }
    Geom area;
    GEOM_COPY(original.word, &area.word);
    GEOM_SCALE(area.word, -3, 1, 2, 0);
    GEOM_MOVE(area.word, 1e3, -1e3, 0);
    const Measures after(area.word);
    EXPECT_NEAR(after.content, 9 * before.content, 1e-9);
    EXPECT_NEAR(after.width, 3 * before.width, 1e-9);
    EXPECT_NEAR(after.height, 3 * before.height, 1e-9);
}

TEST(Changes, RoundHeightsAndReverse) {
    Geom line = make_line({{0.14, 1e300, false, 0, 0, 1.26}, {0.35, 1.1}, {0.351, 1.099, true, 4, 4}, {INF, 1}});
    GEOM_ROUND(line.word, 0.1, 0.5);
    Steps s = read_line(line.word);
    EXPECT_TRUE(s[0].x == 0.1 && s[0].y == 1e300 && s[0].z == 1.5 && s[1].z == FLAT && s[3].x == INF);
    EXPECT_TRUE(s[2].x == s[1].x && s[2].y == 1.1 && !s[2].is_arc);
    GEOM_ROUND(line.word, 0, -1);
    EXPECT_EQ(read_line(line.word)[0].x, 0.1);

    line = make_line({{0, 0}, {3, 4}, {3, 4, true, 3 + 10 / PI, 4}});
    GEOM_SETZ2(line.word, 1, 4);
    EXPECT_DOUBLE_EQ(read_line(line.word)[1].z, 2);
    EXPECT_DOUBLE_EQ(GEOM_GET_LENGTH(line.word, 0), 15);
    EXPECT_DOUBLE_EQ(GEOM_GET_LENGTH(line.word, 1), std::hypot(5, 1) + std::hypot(10, 2));
    EXPECT_TRUE(GEOM_IS3D(line.word) && !GEOM_IS2D(line.word));
    GEOM_MOVE(line.word, 0, 0, 1);
    double x, y, low, high;
    GEOM2_CALC_BOUNDING_BOX3D(line.word, &x, &y, &low, &x, &y, &high);
    EXPECT_TRUE(low == 2 && high == 5);
    GEOM_SETZ(line.word, FLAT);
    EXPECT_TRUE(GEOM_IS2D(line.word) && !GEOM_IS3D(line.word));

    line = make_line({{1, 0}, {0, 1, true, 0.8, 0.6}, {0, 5}});
    const double content = GEOM_GET_LINE_AREA(line.word);
    GEOM_REVERSE_LINE(line.word);
    s = read_line(line.word);
    EXPECT_TRUE(s[0].y == 5 && !s[1].is_arc && s[2].is_arc && s[2].ax == 0.8 && s[2].x == 1);
    EXPECT_DOUBLE_EQ(GEOM_GET_LINE_AREA(line.word), -content);
}

TEST(Strokes, ChordsStayNearAndAreTheSameFromBothSides) {
    const Geom arc = make_line({{3, 1, false, 0, 0, 10}, {-2, 4, true, -1, 7.3, 20}});
    double x, y, r;
    GEOM2_GET_ARC_CENTER(3, 1, -1, 7.3, -2, 4, &x, &y);
    GEOM2_GET_ARC_RADIUS(3, 1, -1, 7.3, -2, 4, &r);
    size_t count = 0;
    for (double tolerance : {1e3, 0.1, 1e-3, 1e-6, 0.0}) {
        Geom there, back;
        GEOM_COPY(arc.word, &back.word);
        GEOM_REVERSE_LINE(back.word);
        GEOM2_STROKE(arc.word, &there.word, tolerance);
        GEOM2_STROKE(back.word, &back.word, tolerance);
        const Steps a = read_line(there.word), b = read_line(back.word);
        ASSERT_EQ(a.size(), b.size());
        for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(a[i].x == b[b.size() - 1 - i].x && !a[i].is_arc);
        const double limit = tolerance > 0 ? tolerance : r / 1e4;
        for (size_t i = 1; i < a.size(); ++i) {
            EXPECT_NEAR(a[i].z - a[i - 1].z, 10.0 / static_cast<double>(a.size() - 1), 1e-12);
            EXPECT_LE(r - distance({(a[i].x + a[i - 1].x) / 2, (a[i].y + a[i - 1].y) / 2}, {x, y}), limit + 1e-14);
        }
        EXPECT_TRUE(tolerance == 0 || a.size() > count);
        count = a.size();
    }
    const auto set = INTERNAL(GEOM2_RESOLUTION_SET);
    EXPECT_TRUE(set(0.5) == 0 && set(-1) == 0.5 && set(NO_NUMBER) == 0.5);
    Geom coarse, fine;
    GEOM2_STROKE(arc.word, &coarse.word, 0);
    EXPECT_EQ(set(1e-300), 0.5);
    GEOM2_STROKE(arc.word, &fine.word, 0);
    set(0);
    EXPECT_LT(read_line(coarse.word).size(), 10u);
    EXPECT_EQ(read_line(fine.word).size(), 10001u);
}

TEST(Strokes, AnotherStartForgetsTheTolerance) {
    INTERNAL(GEOM2_RESOLUTION_SET)(0.5);
    QORPROC_TERMINATE();
    QORPROC_INIT();
    EXPECT_EQ(INTERNAL(GEOM2_RESOLUTION_SET)(0), 0);
}

TEST(Strokes, CurvesAndParts) {
    std::vector<GEOM_XY> controls;
    const Geom line = make_line({{5, 0}, {-3, 4, true, 3, 4}, {0, 0}});
    INTERNAL(GEOM2_LINEARCS_TO_BEZIER)
    (
        line.word,
        [](void *context, const GEOM_XY c[4]) {
            auto *all = static_cast<std::vector<GEOM_XY> *>(context);
            all->insert(all->end(), c, c + 4);
        },
        &controls);
    ASSERT_EQ(controls.size(), 12u);
    EXPECT_TRUE(controls[0].x == 5 && controls[3].x == controls[4].x && controls[7].x == -3 && controls[11].y == 0);
    for (int i = 0; i <= 10; ++i) {
        const double t = i / 10.0, u = 1 - t, w[] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
        GEOM_XY p{0, 0};
        for (int k = 0; k < 4; ++k) p.x += w[k] * controls[k].x, p.y += w[k] * controls[k].y;
        EXPECT_NEAR(distance(p, {0, 0}), 5, 5 * 0.0003);
    }
    Geom disc;
    EXPECT_FALSE(INTERNAL(GEOM2_CREATE_CIRCLE)(&disc.word, 1, 2, 0));
    ASSERT_TRUE(INTERNAL(GEOM2_CREATE_CIRCLE)(&disc.word, 1, 2, 3));
    EXPECT_DOUBLE_EQ(GEOM_GET_AREA(disc.word), 9 * PI);
    double x1, y1, z, x2, y2, box[4];
    ASSERT_TRUE(INTERNAL(GEOM2_SURFACE_START_END_POINT)(disc.word, &x1, &y1, &z, &x2, &y2, &z));
    EXPECT_TRUE(x1 == x2 && y1 == y2);
    ASSERT_TRUE(GEOM2_CALC_BOUNDING_BOX(disc.word, &box[0], &box[1], &box[2], &box[3]));
    EXPECT_TRUE(box[0] == -2 && box[1] == -1 && box[2] == 4 && box[3] == 5);
    EXPECT_TRUE(GEOM2_BOX_OVERLAP(0, 0, 1, 1, 1, 1, 2, 2) && !GEOM2_BOX_OVERLAP(0, 0, 1, 1, 0, 1.1, 2, 2));
    int32_t count, kind;
    double length = 0;
    INTERNAL(GEOM2_GET_AREA_LINE_LIST)
    (
        disc.word, [](void *sum, QOR_GEOMETRY *part) { *static_cast<double *>(sum) += GEOM_GET_LENGTH(*part, 0); },
        &length, &count);
    EXPECT_EQ(count, 1);
    EXPECT_DOUBLE_EQ(length, 6 * PI);
    QOR_GEOMETRY part = disc.word;
    for (int32_t expected : {GEOM_RAND, GEOM_LINE, GEOM_POINT}) {
        ASSERT_TRUE(GEOM_READ_LAST_SUBOBJ(part, &part));
        GEOM_READ_TYPE(part, &kind);
        EXPECT_EQ(kind, expected);
    }
    EXPECT_FALSE(GEOM_READ_FIRST_SUBOBJ(part, &part) || GEOM_READ_FIRST_SUBOBJ(0, &part));
}

} // namespace
