// Positions and parts of lines, what is beside them, and lines put together.
#include "kernel_environment.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "geometries.hpp"

namespace {

using Geoms = std::vector<Geom>;

void take(void *geoms, QOR_GEOMETRY *word) { std::swap(static_cast<Geoms *>(geoms)->emplace_back().word, *word); }

std::vector<QOR_GEOMETRY> words_of(const Geoms &geoms) {
    std::vector<QOR_GEOMETRY> words;
    for (const Geom &geom : geoms) words.push_back(geom.word);
    return words;
}

struct Step {
    double x, y, z = FLAT;
    int32_t attribute = 0;
    bool is_arc = false;
    double ax = 0, ay = 0;
};
using Steps = std::vector<Step>;

Step arc(double ax, double ay, double x, double y, double z = FLAT) { return {x, y, z, 0, true, ax, ay}; }

Geom make_line(const Steps &steps, int32_t attribute = 0) {
    Geom line, points[2];
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step &s = steps[i];
        QOR_GEOMETRY &point = points[i > 0].word;
        GEOM_CREATE_POINT(&point, s.x, s.y, s.z);
        GEOM_SET_GATTR(point, s.attribute);
        if (i == 1) GEOM_CREATE_LINE(&line.word, points[0].word, s.is_arc, s.ax, s.ay, FLAT, point);
        if (i > 1) GEOM_APPEND_LINE_POINT(&line.word, s.is_arc, s.ax, s.ay, FLAT, point);
    }
    GEOM_SET_GATTR(line.word, attribute);
    return line;
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
        s.attribute = GEOM_GET_GATTR(point);
        steps.push_back(s);
    }
}

void expect_line(QOR_GEOMETRY line, const Steps &expected, const char *what) {
    const Steps steps = read_line(line);
    ASSERT_EQ(steps.size(), expected.size()) << what;
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step &s = steps[i], &e = expected[i];
        EXPECT_LT(std::hypot(s.x - e.x, s.y - e.y), 1e-9) << what << " point " << i << ": " << s.x << ' ' << s.y;
        EXPECT_NEAR(s.z, e.z, 1e-9) << what << " point " << i;
        EXPECT_EQ(s.attribute, e.attribute) << what << " point " << i;
        EXPECT_EQ(s.is_arc, e.is_arc) << what << " point " << i;
        if (e.is_arc) {
            EXPECT_LT(std::hypot(s.ax - e.ax, s.ay - e.ay), 1e-9) << what << " point " << i;
        }
    }
}

double length(const Geom &line) { return GEOM_GET_LENGTH(line.word, 0); }

struct Place {
    double x = -7, y = -7, z = -7, position = -7, distance = -7;
};
Place project(const Geom &line, double x, double y) {
    Place p;
    EXPECT_TRUE(GEOM2_PROJECT_POINT2(line.word, x, y, &p.x, &p.y, &p.z, &p.position, &p.distance));
    return p;
}
Place point_at(const Geom &line, double position) {
    Place p;
    EXPECT_TRUE(GEOM2_CALC_POINT_AT(line.word, position, &p.x, &p.y, &p.z)) << position;
    return p;
}

std::mt19937 randomness(11);
double random_between(double from, double to) { return std::uniform_real_distribution<>(from, to)(randomness); }

// Turns to both sides, with arcs here and there that are too flat to make it cross itself.
Geom random_line(int count) {
    Steps steps{{0, 0, 1}};
    for (int i = 1; i < count; ++i) {
        const Step &last = steps.back();
        const double x = last.x + random_between(1, 4), y = random_between(-4, 4), bow = random_between(-0.05, 0.05);
        const double mx = (last.x + x) / 2 - bow * (y - last.y), my = (last.y + y) / 2 + bow * (x - last.x);
        steps.push_back({x, y, i + 1.0, i, i % 3 == 0, mx, my});
    }
    return make_line(steps, 5);
}

const Steps CORNER{{0, 0}, {10, 0}, {10, 10}};
const Steps RING{{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}};

TEST(Line, ProjectsToTheNearestPlace) {
    struct Case {
        Steps line;
        double x, y, foot_x, foot_y, position, distance;
        bool has_perpendicular;
    };
    const Steps spike{{0, 0}, {10, 0}, {0, 1}}, closed_spike{{10, 0}, {0, 1}, {0, 2}, {10, 0}};
    for (const Case &c : {Case{CORNER, 5, 3, 5, 0, 5, 3, true}, Case{CORNER, 12, -1, 10, 0, 10, -std::sqrt(5), false},
                          Case{CORNER, -3, -4, 0, 0, 0, -5, false}, Case{CORNER, 12, 5, 10, 5, 15, -2, true},
                          // Beyond the spike, the side of one of its segments would be the wrong one.
                          Case{spike, 11, 0.01, 10, 0, 10, -std::hypot(1, 0.01), false},
                          Case{closed_spike, 11, 0.01, 10, 0, 0, std::hypot(1, 0.01), false},
                          Case{{{-5, 0}, arc(0, 5, 5, 0)}, 0, 7, 0, 5, 5 * PI / 2, 2, true},
                          Case{{{-5, 0}, arc(0, 5, 5, 0)}, 0, 1, 0, 5, 5 * PI / 2, -4, true},
                          Case{{{3, 3}, {3, 3}, {3, 8}}, 4, 5, 3, 5, 2, -1, true}}) {
        const Geom line = make_line(c.line);
        const Place p = project(line, c.x, c.y);
        EXPECT_LT(std::hypot(p.x - c.foot_x, p.y - c.foot_y), 1e-12) << c.x << ' ' << c.y;
        EXPECT_NEAR(p.position, c.position, 1e-12);
        EXPECT_NEAR(p.distance, c.distance, 1e-12);
        Place q;
        ASSERT_EQ(GEOM2_PROJECT_POINT_PERPENDICULAR2(line.word, c.x, c.y, &q.x, &q.y, &q.z, &q.position, &q.distance),
                  c.has_perpendicular);
        EXPECT_NEAR(q.position, c.has_perpendicular ? c.position : -7, 1e-12);
    }
}

TEST(Line, PositionsLeadBack) {
    for (int round = 0; round < 30; ++round) {
        const Geom line = random_line(12);
        const double whole = length(line);
        Geom part;
        for (int i = 0; i <= 40; ++i) {
            const double position = whole * i / 40;
            const Place on = point_at(line, position);
            const Place back = project(line, on.x, on.y);
            EXPECT_NEAR(back.position, position, 1e-9);
            EXPECT_NEAR(back.z, on.z, 1e-9);
            Place beside;
            ASSERT_TRUE(GEOM2_CALC_POINT_AT2(line.word, position, 0.01, &beside.x, &beside.y, &beside.z));
            EXPECT_NEAR(std::hypot(beside.x - on.x, beside.y - on.y), 0.01, 1e-12);
            if (project(line, beside.x, beside.y).distance > 0.00999) {
                EXPECT_NEAR(project(line, beside.x, beside.y).position, position, 1e-9);
            }
        }
        double from, to, distance;
        ASSERT_TRUE(GEOM2_EXTRACT_LINE_SEGMENT(line.word, whole / 3, whole / 2, &part.word));
        ASSERT_TRUE(GEOM2_PROJECT_GEOM(line.word, part.word, &from, &to, &distance));
        EXPECT_NEAR(from, whole / 3, 1e-9);
        EXPECT_NEAR(to, whole / 2, 1e-9);
        EXPECT_NEAR(distance, 0, 1e-9);
        Place p;
        for (double wrong : {-1e-6, whole + 1e-6}) {
            EXPECT_FALSE(GEOM2_CALC_POINT_AT(line.word, wrong, &p.x, &p.y, &p.z));
            EXPECT_EQ(p.x, -7);
        }
    }
}

TEST(Line, PartsKeepArcsHeightsAndAttributes) {
    const Geom line =
        make_line({{0, 0, 0, 1}, {10, 0, 10, 2}, {10, 0, 20, 3}, {20, 0, 30, 4, true, 15, 5}, {20, 4, FLAT, 5}}, 9);
    const double quarter = 5 * PI / 2, s = 5 * std::sqrt(0.5);
    Geom part;
    ASSERT_TRUE(GEOM2_EXTRACT_LINE_SEGMENT(line.word, 4, 10 + quarter, &part.word));
    EXPECT_EQ(GEOM_GET_GATTR(part.word), 9);
    expect_line(part.word, {{4, 0, 4}, {10, 0, 10, 2}, {10, 0, 20, 3}, {15, 5, 25, 0, true, 15 - s, s}}, "forwards");
    ASSERT_TRUE(GEOM2_EXTRACT_LINE_SEGMENT(line.word, INF, 10 + quarter, &part.word));
    expect_line(part.word, {{20, 4, FLAT, 5}, {20, 0, 30, 4}, {15, 5, 25, 0, true, 15 + s, s}}, "backwards");
    ASSERT_TRUE(GEOM2_EXTRACT_LINE_SEGMENT(part.word, 1, 2, &part.word)); // source and result
    expect_line(part.word, {{20, 3}, {20, 2}}, "its own part");
    for (double position : {-5.0, 3.0, 10.0, 999.0})
        EXPECT_FALSE(GEOM2_EXTRACT_LINE_SEGMENT(line.word, position, position, &part.word));
    for (int round = 0; round < 20; ++round) {
        const Geom random = random_line(9);
        double sum = 0, cut = 0;
        for (int i = 1; i <= 7; ++i) {
            const double next = i == 7 ? length(random) : length(random) * i / 7 + random_between(-0.1, 0.1);
            ASSERT_TRUE(GEOM2_EXTRACT_LINE_SEGMENT(random.word, cut, next, &part.word));
            EXPECT_NEAR(length(part), next - cut, 1e-9);
            sum += length(part);
            cut = next;
        }
        EXPECT_NEAR(sum, length(random), 1e-9);
    }
}

TEST(Line, PatternsRepeatExactly) {
    const Geom line = make_line({{0, 0}, {0.7, 0}, {0.7, 0}, {100, 0}}, 3);
    Geoms dashes;
    const double pattern[] = {0.3, 0.1, 0, 0.1}; // a dash and a dot, which has no length
    ASSERT_EQ(GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(line.word, pattern, 4, -0.1 - 5, take, &dashes), 200);
    for (size_t i = 0; i < dashes.size(); ++i) {
        const Steps steps = read_line(dashes[i].word);
        EXPECT_NEAR(steps.front().x, 0.5 * static_cast<double>(i) + 0.1, 1e-12);
        EXPECT_NEAR(length(dashes[i]), 0.3, 1e-12);
    }
    EXPECT_EQ(GEOM_GET_GATTR(dashes[0].word), 3);
    dashes.clear();
    ASSERT_EQ(GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(line.word, pattern, 2, 0.2, take, &dashes), 251);
    EXPECT_NEAR(length(dashes.front()), 0.1, 1e-12);
    EXPECT_NEAR(length(dashes.back()), 0.2, 1e-12);
    Geoms points;
    ASSERT_EQ(GEOM2_EXTRACT_LINE_PATTERN_POINTS(line.word, -0.25, 0.1, take, &points), 1000);
    double x, y, z;
    for (size_t i = 0; i < points.size(); ++i) {
        GEOM_READ_POINT(points[i].word, &x, &y, &z);
        EXPECT_NEAR(x, 0.05 + 0.1 * static_cast<double>(i), 1e-12);
    }
    EXPECT_EQ(GEOM2_EXTRACT_LINE_PATTERN_POINTS(line.word, 0, 0.1, take, &points), 1001);
    EXPECT_EQ(GEOM2_EXTRACT_LINE_PATTERN_POINTS(line.word, 0, 1e-5, take, &points), -1);
    for (double spacing : {0.0, -1.0, NO_NUMBER, INF})
        EXPECT_EQ(GEOM2_EXTRACT_LINE_PATTERN_POINTS(line.word, 0, spacing, take, &points), 0);
    for (const auto &[bad, count, result] : {std::tuple{std::vector{1.0, 1.0, 1.0}, 3, 0},
                                             {{-1, 2}, 2, 0},
                                             {{INF, 1}, 2, 0},
                                             {{1, NO_NUMBER}, 2, 0},
                                             {{0, 0}, 2, 0},
                                             {{1}, 0, 0},
                                             {{0, 1}, 2, 0},
                                             {{1e-300, 0}, 2, -1},
                                             {{1e-5, 1e-5}, 2, -1}})
        EXPECT_EQ(GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(line.word, bad.data(), count, 0, take, &points), result);
}

TEST(Line, EndsAndDirections) {
    Geom line = make_line({{0, 0, 7, 1}, {0, 0}, {-5, 0}, arc(-10, 5, -5, 10, 8)}, 4), start, end;
    double from, to;
    ASSERT_TRUE(GEOM2_GET_LINE_START_END_TANGENT_ANGLE(line.word, &from, &to));
    EXPECT_NEAR(from, PI, 1e-15);
    EXPECT_NEAR(to, 0, 1e-15);
    EXPECT_FALSE(GEOM2_GET_LINE_START_END_TANGENT_ANGLE(make_line({{1, 1}, {1, 1}}).word, &from, &to));
    ASSERT_TRUE(GEOM2_GET_LINE_START_END_POINT(line.word, &start.word, &end.word));
    double x, y, z;
    GEOM_READ_POINT(start.word, &x, &y, &z);
    EXPECT_TRUE(x == 0 && z == 7 && GEOM_GET_GATTR(start.word) == 1);
    ASSERT_TRUE(INTERNAL(GEOM2_EXTEND_LINE)(line.word, 2, 3));
    expect_line(line.word, {{2, 0, 7, 1}, {0, 0}, {-5, 0}, arc(-10, 5, -5, 10, 8), {-2, 10, 8}}, "longer");
    ASSERT_TRUE(INTERNAL(GEOM2_EXTEND_LINE)(line.word, -3, -1));
    expect_line(line.word, {{-1, 0}, {-5, 0}, arc(-10, 5, -5, 10, 8), {-3, 10, 8}}, "shorter");
    EXPECT_EQ(GEOM_GET_GATTR(line.word), 4);
    EXPECT_FALSE(INTERNAL(GEOM2_EXTEND_LINE)(line.word, -3 - 5 * PI, -5));
    EXPECT_FALSE(INTERNAL(GEOM2_EXTEND_LINE)(line.word, NO_NUMBER, 0));
}

TEST(Line, IntersectionsComeOnceAndInOrder) {
    struct Case {
        Steps line, other, common;
    };
    for (const Case &c :
         {Case{{{0, 0, 0}, {10, 0, 10}, {10, 10, 20}}, {{15, 5}, {5, 5}, {5, -5}}, {{5, 0, 5}, {10, 5, 15}}},
          Case{{{0, 0}, {1, 1}, {2, 0}}, {{0, 2}, {1, 1}, {2, 2}}, {{1, 1}}},
          // A stretch over several segments, its ends alone; then a crossing.
          Case{{{0, 0}, {10, 0}, {20, 0}, {30, 0}},
               {{28, 5}, {28, -5}, {25, -5}, {25, 0}, {12, 0}, {5, 0}, {5, 5}},
               {{5, 0}, {25, 0}, {28, 0}}},
          Case{{{0, 0}, arc(5, 5, 10, 0)}, {{5, 9}, {5, 5}, {5, 0}}, {{5, 5}}},
          Case{{{-5, 0}, arc(0, 5, 5, 0)}, {{3, 4}, arc(0, 5, -3, 4), {-3, 9}}, {{-3, 4}, {3, 4}}},
          Case{RING, RING, {{0, 0}}}, Case{RING, {{20, 0}, {20, 5}}, {}}}) {
        Geoms points;
        int32_t count = -1;
        GEOM2_LINE_INTERSECTION(make_line(c.line).word, make_line(c.other).word, take, &points, &count);
        ASSERT_EQ(count, static_cast<int32_t>(c.common.size()));
        for (size_t i = 0; i < points.size(); ++i) {
            double x, y, z;
            GEOM_READ_POINT(points[i].word, &x, &y, &z);
            EXPECT_LT(std::hypot(x - c.common[i].x, y - c.common[i].y), 1e-12) << x << ' ' << y;
            EXPECT_NEAR(z, c.common[i].z, 1e-12);
        }
    }
    // Waves with 2 N crossings, out of pairs that n * m steps would take minutes for.
    constexpr int COUNT = 100000, WAVES = 500;
    Steps wave, line;
    for (int i = 0; i <= COUNT; ++i) {
        wave.push_back({1.0 * i, 100 * std::sin(2 * PI * WAVES * i / COUNT + 1)});
        line.push_back({1.0 * i, 0.25});
    }
    int32_t count;
    Geoms points;
    GEOM2_LINE_INTERSECTION(make_line(wave).word, make_line(line).word, take, &points, &count);
    EXPECT_EQ(count, 2 * WAVES);
}

TEST(Parallel, CornersAndSides) {
    const double s = std::sqrt(0.5), a = 2 * std::sin(PI / 12), b = 2 * std::cos(PI / 12);
    const Steps high{{0, 0, 1}, {10, 0, 2}, {10, 10, 3}}, half{{-5, 0}, arc(0, 5, 5, 0)}, back{{0, 0}, {9, 0}, {0, 0}};
    const Steps bump{{0, 0}, {10, 0}, arc(15, 5, 20, 0), {30, 0}};
    const Steps pit{{0, 0}, {4, 0}, {4, -1}, {6, -1}, {6, 0}, {9, 0}};
    const Steps bevel{{0, -1}, {10, -1}, {11, 0}, {11, 10}};
    const Steps round{{0, -1, 1}, {10, -1, 2}, arc(10 + s, -s, 11, 0, 2), {11, 10, 3}};
    const Steps over_pit{{0, 2}, {4, 2}, arc(4 + a, b, 5, std::sqrt(3)), arc(6 - a, b, 6, 2), {9, 2}};
    const Steps under_bump{
        {0, -5}, {10, -5}, arc(10 + 5 * s, -5 * s, 15, 0), arc(20 - 5 * s, -5 * s, 20, -5), {30, -5}};
    struct Case {
        const char *what;
        Steps line;
        double distance;
        Steps copy;
        int32_t corner = GEOM_CORNER_ROUND;
        double limit = 0;
    };
    for (const Case &c :
         {Case{"inside", high, 1, {{0, 1, 1}, {9, 1, 1.9}, {9, 10, 3}}}, Case{"round", high, -1, round},
          Case{"mitre", CORNER, -1, {{0, -1}, {11, -1}, {11, 10}}, GEOM_CORNER_MITRE},
          Case{"mitre cut off", CORNER, -1, bevel, GEOM_CORNER_MITRE, 1.4},
          Case{"bevel", CORNER, -1, bevel, GEOM_CORNER_BEVEL},
          Case{"ring inside", RING, 1, {{1, 1}, {9, 1}, {9, 9}, {1, 9}, {1, 1}}},
          Case{"ring outside", RING, -1, {{-1, -1}, {11, -1}, {11, 11}, {-1, 11}, {-1, -1}}, GEOM_CORNER_MITRE},
          Case{"swallowed", pit, 2, over_pit}, Case{"arc that goes", bump, -5, under_bump},
          Case{"arc", half, 1, {{-6, 0}, arc(0, 6, 6, 0)}},
          Case{"there and back", back, 2, {{0, 2}, {9, 2}, arc(11, 0, 9, -2), {0, -2}, arc(-2, 0, 0, 2)}},
          Case{"distance 0", CORNER, 0, CORNER}, Case{"nothing left", RING, 5, {}}}) {
        Geom copy;
        ASSERT_EQ(GEOM2_COPY_LINE_PARALLEL(make_line(c.line, 6).word, c.distance, c.corner, c.limit, &copy.word),
                  !c.copy.empty())
            << c.what;
        expect_line(copy.word, c.copy, c.what);
        EXPECT_EQ(GEOM_GET_GATTR(copy.word), copy.word ? 6 : 0);
    }
}

void expect_distance(const Geom &line, double distance, int count) {
    Geom copy;
    if (!GEOM2_COPY_LINE_PARALLEL(line.word, distance, GEOM_CORNER_ROUND, 0, &copy.word)) return;
    int off = 0;
    for (int i = 0; i <= count; ++i) {
        const Place p = point_at(copy, length(copy) * i / count);
        off += std::abs(project(line, p.x, p.y).distance - distance) > 1e-6 * std::abs(distance);
    }
    EXPECT_EQ(off, 0) << distance;
}

TEST(Parallel, KeepsItsDistance) {
    for (int round = 0; round < 120; ++round) {
        const Geom line = random_line(round < 60 ? 12 : 40);
        for (double distance : {0.05, -0.3, 1.0, -2.5}) expect_distance(line, distance, 200);
    }
    Steps wave; // so long that it would take minutes to compare each segment with each
    for (int i = 0; i < 15000; ++i) wave.push_back({0.1 * i, 40 * std::sin(0.002 * i) + std::sin(0.3 * i)});
    for (double distance : {0.2, -300.0}) expect_distance(make_line(wave), distance, 10);
}

TEST(Parallel, AreasBesideLines) {
    const double at_corners = std::sqrt(1.25) + 2.25 * std::asin(1 / 1.5);
    struct Case {
        Steps line;
        double left, right;
        int32_t corner, end;
        double content;
    };
    const Steps straight{{0, 0}, {10, 0}}, half{{-5, 0}, arc(0, 5, 5, 0)};
    // A pocket of 20 * 15 with an entrance as wide as 2 and as long as 5: a hole is left in it, which
    // the two corners at either end of the entrance bound by arcs.
    const Steps pocket{{-20, 0}, {-1, 0}, {-1, 5}, {-10, 5}, {-10, 20}, {10, 20}, {10, 5}, {1, 5}, {1, 0}, {20, 0}};
    const Steps crossing{{0, 0}, {20, 0}, {20, 9}, {9, 9}, {9, -9}},
        into_itself{{0, 0}, {9, 0}, {9, 5}, {4, 5}, {4, 0.5}};
    for (const Case &c :
         {Case{crossing, 1, 1, 1, GEOM_END_FLAT, 2 * 58 - 4},
          Case{into_itself, 1, 1, 1, GEOM_END_SQUARE, 2 * 23.5 + 4 - 3}, Case{straight, 1, 2, 0, GEOM_END_FLAT, 30},
          Case{straight, 0, 2, 0, GEOM_END_SQUARE, 28}, Case{straight, 1, 1, 0, GEOM_END_ROUND, 20 + PI},
          Case{CORNER, 1, 1, 1, GEOM_END_FLAT, 40}, Case{CORNER, 1, 1, 0, GEOM_END_FLAT, 39 + PI / 4},
          Case{half, 1, 2, 0, GEOM_END_FLAT, 13.5 * PI}, Case{RING, 1, 1, 1, GEOM_END_FLAT, 80},
          Case{RING, 0, 1, 1, GEOM_END_FLAT, 44}, Case{RING, 1, 0, 1, GEOM_END_FLAT, 36},
          Case{RING, 6, 1, 1, GEOM_END_FLAT, 144},
          Case{pocket, 0, 1.5, 0, GEOM_END_FLAT, 57 + 10 + 300 - 17 * 12 - 3 + 2 * at_corners}}) {
        Geom area;
        ASSERT_TRUE(GEOM2_CREATE_AREA_FROM_LINE(make_line(c.line).word, c.left, c.corner, c.right, c.end, &area.word));
        EXPECT_TRUE(GEOM2_CHECK_AREA(area.word, nullptr, nullptr, nullptr));
        EXPECT_NEAR(GEOM_GET_AREA(area.word), c.content, 1e-9) << c.left << ' ' << c.right << ' ' << c.line.size();
    }
    Geom area;
    for (const auto &[left, right] : {std::pair{-1.0, 1.0}, {0.0, 0.0}, {NO_NUMBER, 1.0}, {1.0, INF}})
        EXPECT_FALSE(GEOM2_CREATE_AREA_FROM_LINE(make_line(straight).word, left, 0, right, 0, &area.word));
}

TEST(Join, RandsGrowAtBothEnds) {
    Geom rand;
    const auto add = [&](const Steps &line) { return GEOM_BUILD_RAND_LINE(&rand.word, make_line(line).word); };
    EXPECT_EQ(add({{0, 0}, {1, 0}}), 0);
    EXPECT_EQ(add({{5, 5}, {6, 6}}), -1);
    EXPECT_EQ(add({{1, 1}, {1, 0}}), 0); // at the end, reversed
    EXPECT_EQ(add({{0, 0}, {0, 1}}), 0); // at the start, reversed
    EXPECT_EQ(add({{0, 1}, {1, 1}}), 1);
    EXPECT_EQ(add({{0, 1}, {0, 0}}), -1);
    EXPECT_EQ(GEOM_GET_AREA(rand.word), 1);
    QOR_GEOMETRY word = rand.word, line;
    int32_t found;
    GEOM_RESET_READ(&word);
    GEOM_READ_RAND_LINE(&word, &line, &found);
    EXPECT_EQ(read_line(line)[0].y, 1);
    EXPECT_EQ(GEOM_BUILD_RAND_LINE(&rand.word, 0), -1);
    Geom circle;
    EXPECT_EQ(GEOM_BUILD_RAND_LINE(&circle.word, make_line({{0, 0}, arc(2, 0, 0, 0)}).word), 1);
}

TEST(Join, AreasFromScatteredLines) {
    constexpr int COUNT = 5000;
    Geoms lines;
    const auto add = [&](const Steps &line) { lines.push_back(make_line(line, 3)); };
    const auto corner = [](int i) {
        return Step{std::cos(2 * PI * (i % COUNT) / COUNT), std::sin(2 * PI * (i % COUNT) / COUNT)};
    };
    for (int i = 0; i < COUNT; ++i) i % 3 ? add({corner(i), corner(i + 1)}) : add({corner(i + 1), corner(i)});
    // Two triangles that touch in a point, a circle, and a line without length.
    for (const Steps &line : {Steps{{5, 5}, {6, 5}},
                              {{6, 6}, {6, 5}},
                              {{6, 6}, {5, 5}},
                              {{5, 5}, {4, 5}, {4, 4}},
                              {{5, 5}, {4, 4}},
                              {{8, 8}, arc(10, 8, 8, 8)},
                              {{9, 9}, {9, 9}}})
        add(line);
    std::shuffle(lines.begin(), lines.end(), randomness);
    std::vector<QOR_GEOMETRY> words = words_of(lines);
    words.push_back(0);
    Geom area;
    ASSERT_TRUE(GEOM_BUILD_AREA(words.data(), static_cast<int32_t>(words.size()), &area.word));
    EXPECT_NEAR(GEOM_GET_AREA(area.word), COUNT / 2.0 * std::sin(2 * PI / COUNT) + 1 + PI, 1e-9);
    QOR_GEOMETRY rand, rands = area.word;
    int32_t found, count = -1;
    for (found = 1; found; ++count) GEOM_READ_AREA_RAND(&rands, &rand, &found);
    EXPECT_EQ(count, 4);
    EXPECT_FALSE(GEOM_BUILD_AREA(words.data() + 10, static_cast<int32_t>(words.size()) - 10, &area.word));
    EXPECT_FALSE(GEOM_BUILD_AREA(nullptr, 0, &area.word));
}

TEST(Join, AppendsTheSameKind) {
    Geom line, rand, area;
    EXPECT_TRUE(GEOM_JOIN(&line.word, make_line({{0, 0}, {1, 0, 1, 1}}, 2).word));
    EXPECT_TRUE(GEOM_JOIN(&line.word, make_line({{1, 0, 2, 2}, arc(2, 1, 3, 0)}, 3).word));
    EXPECT_FALSE(GEOM_JOIN(&line.word, make_line({{9, 9}, {1, 0}}).word));
    EXPECT_FALSE(GEOM_JOIN(&line.word, 0));
    expect_line(line.word, {{0, 0}, {1, 0, 1, 1}, arc(2, 1, 3, 0)}, "joined");
    EXPECT_EQ(GEOM_GET_GATTR(line.word), 2);
    Geom ring = make_line(RING);
    EXPECT_TRUE(GEOM_JOIN(&ring.word, ring.word));
    EXPECT_EQ(length(ring), 80);
    GEOM_CREATE_RAND(&rand.word, make_line(RING).word);
    GEOM_CREATE_AREA(&area.word, rand.word);
    for (Geom *both : {&rand, &area}) {
        EXPECT_TRUE(GEOM_JOIN(&both->word, both->word));
        EXPECT_EQ(length(*both), 80);
    }
    EXPECT_ABORT(GEOM_JOIN(&area.word, rand.word), "GEOM_JOIN\\) area expected, not rand");
}

TEST(Join, LinesBecomeAsLongAsPossible) {
    const auto join = [](const Geoms &lines, double tolerance) {
        Geoms joined;
        int32_t count;
        const std::vector<QOR_GEOMETRY> words = words_of(lines);
        GEOM_JOIN_LINES(words.data(), static_cast<int32_t>(words.size()), tolerance, take, &joined, &count);
        EXPECT_EQ(count, static_cast<int32_t>(joined.size()));
        return joined;
    };
    Geoms lines;
    // A chain; three lines at (3, 0); a closed line.
    lines.push_back(make_line({{1, 0}, {2, 0}}, 7));
    lines.push_back(make_line({{0, 0}, {1, 0}}));
    lines.push_back(make_line({{3, 0, FLAT, 4}, {2, 0}}));
    lines.push_back(make_line({{3, 0}, {3, 1}}));
    lines.push_back(make_line({{3, 0}, {3, -1}}));
    lines.push_back(make_line(RING));
    Geoms joined = join(lines, 0);
    ASSERT_EQ(joined.size(), 4u);
    expect_line(joined[0].word, {{0, 0}, {1, 0}, {2, 0}, {3, 0, FLAT, 4}}, "chain");
    EXPECT_EQ(GEOM_GET_GATTR(joined[0].word), 7);
    // Ends that are near: the joint is the first one's end, and a ring really closes.
    lines.clear();
    lines.push_back(make_line({{0, 0}, {1, 0}}));
    lines.push_back(make_line({{1, 1}, {1, 0.01}}));
    lines.push_back(make_line({{1, 1}, {0, 0.01}}));
    joined = join(lines, 0.01);
    ASSERT_EQ(joined.size(), 1u);
    expect_line(joined[0].word, {{0, 0}, {1, 0}, {1, 1}, {0, 0}}, "ring");
    EXPECT_EQ(join(lines, 0.009).size(), 2u);
    // Many in any order.
    lines.clear();
    for (int i = 0; i < 20000; ++i) {
        const Step from{1.0 * i, 1.0 * (i % 7)}, to{i + 1.0, 1.0 * ((i + 1) % 7)};
        lines.push_back(i % 3 ? make_line({from, to}) : make_line({to, from}));
    }
    double sum = 0;
    for (const Geom &line : lines) sum += length(line);
    std::shuffle(lines.begin(), lines.end(), randomness);
    joined = join(lines, 1e-6);
    ASSERT_EQ(joined.size(), 1u);
    EXPECT_NEAR(length(joined[0]), sum, 1e-6);
    EXPECT_EQ(join(lines, 1e9).size(), lines.size());
}

// What can be asked of a line: nothing of the empty one, and nothing of numbers that are none.
TEST(Line, BadInputHasNoResult) {
    const auto ask = [](QOR_GEOMETRY line, double number) {
        Place p;
        Geom out, other;
        Geoms taken;
        const double pattern[] = {1, 1};
        int32_t count = 0;
        int32_t sum = GEOM2_PROJECT_POINT(line, number, 1, &p.x, &p.y, &p.z);
        sum += GEOM2_PROJECT_POINT_PERPENDICULAR(line, number, 1, &p.x, &p.y, &p.z);
        sum += GEOM2_CALC_POINT_AT2(line, 0, number, &p.x, &p.y, &p.z);
        sum += GEOM2_COPY_LINE_PARALLEL(line, number, 0, 0, &out.word);
        sum += GEOM2_CREATE_AREA_FROM_LINE(line, number, 0, 1, 0, &out.word);
        sum += GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(line, pattern, 2, number, take, &taken);
        sum += GEOM2_EXTRACT_LINE_PATTERN_POINTS(line, number, 1, take, &taken);
        GEOM_JOIN_LINES(&line, 1, number, take, &taken, &count);
        return sum + count;
    };
    const Geom good = make_line(CORNER);
    EXPECT_EQ(ask(0, 1), 0);
    for (double bad : {NO_NUMBER, INF, -INF}) {
        EXPECT_EQ(ask(good.word, bad), 0) << bad;
        EXPECT_EQ(ask(make_line({{0, 0}, {bad, 0}, {1, 1}}).word, 1), 0) << bad;
        EXPECT_EQ(ask(make_line({{0, 0}, arc(0, bad, 1, 1)}).word, 1), 0) << bad;
    }
    Geom rand, copy;
    GEOM_CREATE_RAND(&rand.word, make_line(RING).word);
    EXPECT_ABORT(GEOM2_COPY_LINE_PARALLEL(rand.word, 1, 0, 0, &copy.word), "GEOM2_COPY_LINE_PARALLEL\\) line expected");
    EXPECT_FALSE(GEOM2_COPY_LINE_PARALLEL(good.word, 1, 3, 0, &copy.word));
    EXPECT_FALSE(GEOM2_COPY_LINE_PARALLEL(make_line({{1, 1}, {1, 1}}).word, 1, 0, 0, &copy.word));
}

} // namespace
