// Lines put together: to rands, to areas, and to longer lines.
#include <algorithm>
#include <utility>

#include "line.hpp"
#include "place_index.hpp"

using namespace geom;

namespace {

constexpr size_t NONE = SIZE_MAX;

GEOM_XY start_of(const Composite *line) { return place_of(first_point(line)); }
GEOM_XY end_of(const Composite *line) { return place_of(last_point(line)); }

// --- rands -------------------------------------------------------------------

void append_line(Composite *rand, const Composite *line, bool is_reversed) {
    append_part(rand, line);
    if (is_reversed) GEOM_REVERSE_LINE(word_of(part_of(rand->last)));
}

void prepend_line(Composite *rand, const Composite *line, bool is_reversed) {
    const Owner maker(new_composite(GEOM_RAND));
    Composite *single = static_cast<Composite *>(geometry_of(maker.get()));
    append_line(single, line, is_reversed);
    Node *node = std::exchange(single->first, nullptr);
    single->last = nullptr;
    node->owner = rand;
    node->next = rand->first;
    rand->first = node;
}

// --- lines between places --------------------------------------------------------

constexpr int START = 0, END = 1;

// A line and the numbers of the places of its ends.
struct Link {
    const Composite *line;
    size_t places[2];
    bool is_closed() const { return places[START] == places[END]; }
};

struct Line_end {
    size_t link;
    int end;
};

// Lines, and which of their ends are at each place.
struct Network {
    std::vector<Link> links;
    std::vector<std::vector<Line_end>> ends;

    // False, with an error message, when the coordinates of a line can not be computed with.
    bool read(const QOR_GEOMETRY *lines, int32_t count, double tolerance, const char *operation) {
        Place_index index(tolerance);
        for (int32_t i = 0; i < count; ++i) {
            const Composite *line = usable_line(lines[i], operation);
            if (!line && lines[i]) return false;
            if (!line) continue;
            links.push_back({line, {index.add(start_of(line)), index.add(end_of(line))}});
            ends.resize(index.count());
            for (int end : {START, END}) ends[links.back().places[end]].push_back({links.size() - 1, end});
        }
        return true;
    }
};

// --- areas -------------------------------------------------------------------

bool has_extent(const Composite *line) {
    for (Node *node = line->first->next; node; node = node->next)
        if (line_node(node)->arc != 0 || !is_same(place_of(*line_node(node)), start_of(line))) return true;
    return false;
}

// Takes rands out of a network in which an even number of ends is at each place. A way that
// is continued as long as it can be must come back; where it meets itself, the ring that it
// has made is split off, so that no rand goes through one place twice.
class Ring_finder {
  public:
    explicit Ring_finder(Network *network)
        : network_(*network), is_used_(network->links.size()), reached_(network->ends.size(), NONE) {}

    // Calls add(line, is_reversed, is_first) for the lines of all rings.
    template <typename Add> void find(Add add) {
        for (size_t link = 0; link < network_.links.size(); ++link) {
            if (is_used_[link]) continue;
            reached_[network_.links[link].places[START]] = 0;
            step({link, START}, add);
            while (!way_.empty()) step(next_end(place_after(way_.back())), add);
            reached_[network_.links[link].places[START]] = NONE;
        }
    }

  private:
    size_t place_after(Line_end from) const { return network_.links[from.link].places[1 - from.end]; }
    Line_end next_end(size_t place) {
        std::vector<Line_end> &ends = network_.ends[place];
        while (is_used_[ends.back().link]) ends.pop_back();
        return ends.back();
    }
    template <typename Add> void step(Line_end from, Add add) {
        is_used_[from.link] = true;
        way_.push_back(from);
        const size_t place = place_after(from), begin = reached_[place];
        if (begin == NONE) {
            reached_[place] = way_.size();
            return;
        }
        for (size_t i = begin; i < way_.size(); ++i) {
            add(network_.links[way_[i].link].line, way_[i].end == END, i == begin);
            if (i + 1 < way_.size()) reached_[place_after(way_[i])] = NONE;
        }
        way_.resize(begin);
    }

    Network &network_;
    std::vector<bool> is_used_;
    std::vector<size_t> reached_; // how long the way was at each place on it
    std::vector<Line_end> way_;   // lines, with the ends from which they are gone
};

// --- long lines ----------------------------------------------------------------

void append_points(Composite *line, const Composite *other, const Node *last) {
    for (const Node *node = other->first; node != last;) {
        node = node->next;
        const Line_node *n = static_cast<const Line_node *>(node);
        append_point(line, n->arc, n->arc_x, n->arc_y, n->arc_z, n);
    }
}

class Line_joiner {
  public:
    explicit Line_joiner(const Network &network) : network_(network), is_used_(network.links.size()) {}

    void join_all(Gathered *lines) {
        for (size_t link = 0; link < network_.links.size(); ++link)
            if (!is_used_[link]) lines->add(join_from(link));
    }

  private:
    // The end of the line that continues another one behind one of its ends.
    bool find_next(Line_end behind, Line_end *next) const {
        const auto &ends = network_.ends[network_.links[behind.link].places[behind.end]];
        if (ends.size() != 2 || ends[0].link == ends[1].link) return false;
        *next = ends[0].link == behind.link ? ends[1] : ends[0];
        return true;
    }
    // The first line in the list gives the direction and the attribute.
    QOR_GEOMETRY join_from(size_t link) {
        Line_end begin{link, START}, next;
        bool is_ring = false;
        while (!is_ring && find_next(begin, &next)) {
            begin = {next.link, 1 - next.end};
            is_ring = next.link == link;
        }
        Owner joined(oriented(begin));
        Composite *line = static_cast<Composite *>(geometry_of(joined.get()));
        line->attribute = network_.links[link].line->attribute;
        Line_end last{begin.link, 1 - begin.end};
        is_used_[begin.link] = true;
        while (find_next(last, &next) && !is_used_[next.link]) {
            const Owner more(oriented(next));
            const Composite *other = static_cast<Composite *>(geometry_of(more.get()));
            append_points(line, other, other->last);
            is_used_[next.link] = true;
            last = {next.link, 1 - next.end};
        }
        if (is_ring) close(line);
        return word_of(joined.give());
    }
    // A copy that begins with an end.
    Geometry *oriented(Line_end begin) const {
        Owner line(copy(network_.links[begin.link].line));
        if (begin.end == END) GEOM_REVERSE_LINE(line.get());
        return line.give();
    }
    static void close(Composite *line) {
        line_node(line->last)->x = first_point(line).x;
        line_node(line->last)->y = first_point(line).y;
    }

    const Network &network_;
    std::vector<bool> is_used_;
};

} // namespace

int32_t GEOM_BUILD_RAND_LINE(QOR_GEOMETRY *rand, QOR_GEOMETRY line) {
    static constexpr char OPERATION[] = "GEOM_BUILD_RAND_LINE";
    const Composite *added = line_in(line, OPERATION);
    if (!added) return -1;
    if (!*rand) {
        GEOM_CREATE_RAND(rand, line);
        return is_same(start_of(added), end_of(added)) ? 1 : 0;
    }
    Composite *chain = composite_in(*rand, GEOM_RAND, OPERATION);
    if (!chain) return -1;
    const GEOM_XY start = start_of(part_of(chain->first)), end = end_of(part_of(chain->last));
    if (is_same(start, end)) return -1;
    const bool fits_end = is_same(start_of(added), end), fits_end_reversed = is_same(end_of(added), end);
    const bool fits_start = is_same(end_of(added), start), fits_start_reversed = is_same(start_of(added), start);
    if (!fits_end && !fits_end_reversed && !fits_start && !fits_start_reversed) return -1;
    note_change(chain);
    if (fits_end || fits_end_reversed) {
        append_line(chain, added, !fits_end);
    } else {
        prepend_line(chain, added, !fits_start);
    }
    return is_same(start_of(part_of(chain->first)), end_of(part_of(chain->last))) ? 1 : 0;
}

int32_t GEOM_BUILD_AREA(const QOR_GEOMETRY *lines, int32_t count, QOR_GEOMETRY *area) {
    static constexpr char OPERATION[] = "GEOM_BUILD_AREA";
    Network network;
    if (!network.read(lines, count, 0, OPERATION)) return 0;
    for (const auto &ends : network.ends)
        if (ends.size() % 2 != 0) return 0;
    Owner result, rand;
    const auto finish_rand = [&] {
        if (!rand.get()) return;
        if (!result.get()) *result.address() = word_of(new_composite(GEOM_AREA));
        append_part(static_cast<Composite *>(geometry_of(result.get())),
                    static_cast<const Composite *>(geometry_of(rand.get())));
        GEOM_REMOVE(rand.address());
    };
    Ring_finder(&network).find([&](const Composite *line, bool is_reversed, bool is_first) {
        if (is_first) finish_rand();
        if (!has_extent(line)) return; // such a line is a ring alone
        if (!rand.get()) *rand.address() = word_of(new_composite(GEOM_RAND));
        append_line(static_cast<Composite *>(geometry_of(rand.get())), line, is_reversed);
    });
    finish_rand();
    if (!result.get()) return 0;
    replace(area, result.give(), OPERATION);
    return 1;
}

int32_t GEOM_JOIN(QOR_GEOMETRY *geometry, QOR_GEOMETRY other) {
    static constexpr char OPERATION[] = "GEOM_JOIN";
    const Geometry *source = geometry_of(other);
    if (!source) return 0;
    Geometry *target = geometry_of(*geometry);
    if (!target) {
        GEOM_COPY(other, geometry);
        return 1;
    }
    const int32_t kind = target->kind == GEOM_POINT ? int32_t{GEOM_LINE} : target->kind;
    if (target->kind != kind || source->kind != kind) {
        abort_kind(target->kind != kind ? target : source, kind, OPERATION);
        return 0;
    }
    Composite *composite = static_cast<Composite *>(target);
    const Composite *added = static_cast<const Composite *>(source);
    if (kind == GEOM_LINE && !is_same(end_of(composite), start_of(added))) return 0;
    note_change(composite);
    // What is added may be the geometry itself.
    const Node *last = added->last;
    if (kind == GEOM_LINE) {
        append_points(composite, added, last);
        return 1;
    }
    for (const Node *node = added->first;; node = node->next) {
        append_part(composite, static_cast<const Part_node *>(node));
        if (node == last) return 1;
    }
}

void GEOM_JOIN_LINES(const QOR_GEOMETRY *lines, int32_t line_count, double tolerance, GEOM_TAKE take, void *context,
                     int32_t *count) {
    static constexpr char OPERATION[] = "GEOM_JOIN_LINES";
    if (count) *count = 0;
    if (!are_usable({tolerance}, "the tolerance", OPERATION)) return;
    if (tolerance < 0) {
        refuse(OPERATION, "the tolerance is negative");
        return;
    }
    Gathered joined;
    {
        Network network;
        if (!network.read(lines, line_count, tolerance, OPERATION)) return;
        Line_joiner(network).join_all(&joined);
    }
    joined.deliver(take, context, count);
}
