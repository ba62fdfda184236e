// Indexes: many geometries under keys that are asked together. A tree of their boxes tells
// which can be meant, so that few are looked at.
#include <algorithm>
#include <deque>
#include <exception>
#include <memory>

#include "geometries.hpp"

namespace geo {

namespace {

Box box_of(QOR_GEOMETRY geometry) {
    Box box;
    if (!find_box(geometry, &box)) throw No_result{};
    check_coordinates({box.xmin, box.ymin, box.xmax, box.ymax});
    return box;
}

// For the tree, which looks at nothing but the box of what it is given.
geos::Geometry envelope(const Box &box) {
    const GEOSContextHandle_t context = geos::context();
    const bool is_point = box.xmin == box.xmax && box.ymin == box.ymax;
    return result_of(is_point ? GEOSGeom_createPointFromXY_r(context, box.xmin, box.ymin)
                              : GEOSGeom_createRectangle_r(context, box.xmin, box.ymin, box.xmax, box.ymax));
}

// The geometry that an index is asked for.
class Question {
  public:
    explicit Question(QOR_GEOMETRY geometry)
        : geometry_(geometry), is_point_(kind_of(geometry) == GEOM_POINT), box_(box_of(geometry)) {}
    bool is_point() const { return is_point_; }
    GEOM_XY position() const { return {box_.xmin, box_.ymin}; }
    geos::Geometry box() const { return envelope(box_); }
    // Of GEOS, made when an answer needs them.
    const GEOSGeometry *chords() {
        if (!chords_) chords_ = to_geos(geometry_);
        return chords_.get();
    }

  private:
    QOR_GEOMETRY geometry_;
    bool is_point_;
    Box box_;
    geos::Geometry chords_;
};

// A geometry of an index; the number is its place in the order.
class Entry {
  public:
    Entry(size_t number, std::string_view key, Geometry &&geometry)
        : number_(number), key_(key), geometry_(std::move(geometry)), is_area_(kind_of(geometry_.get()) == GEOM_AREA) {}
    size_t number() const { return number_; }
    const std::string &key() const { return key_; }

    bool meets(Question &question) {
        if (is_area_ && question.is_point()) return holds(question);
        const char answer = GEOSPreparedIntersects_r(geos::context(), prepared(), question.chords());
        if (answer == 2) refuse_geos();
        return answer == 1;
    }
    double distance(Question &question) {
        if (is_area_ && question.is_point() && holds(question)) return 0;
        double distance;
        if (!GEOSPreparedDistance_r(geos::context(), prepared(), question.chords(), &distance)) refuse_geos();
        return distance;
    }

  private:
    // An area knows by itself, exactly and fast, whether a point lies in it.
    bool holds(const Question &point) const { return GEOM_IS_INSIDEAREA(point.position(), geometry_.get()); }

    const GEOSPreparedGeometry *prepared() {
        if (!prepared_) {
            chords_ = to_geos(geometry_.get());
            prepared_.reset(GEOSPrepare_r(geos::context(), chords_.get()));
            if (!prepared_) refuse_geos();
        }
        return prepared_.get();
    }

    size_t number_;
    std::string key_;
    Geometry geometry_;
    bool is_area_;
    geos::Geometry chords_; // what prepared_ leans on
    geos::Prepared_geometry prepared_;
};

// An exception must not pass through GEOS: what the tree calls keeps it for later.
struct Search {
    Question *question = nullptr;
    std::vector<Entry *> candidates;
    std::exception_ptr failure;

    static void collect(void *entry, void *search) {
        Search &self = *static_cast<Search *>(search);
        try {
            self.candidates.push_back(static_cast<Entry *>(entry));
        } catch (...) {
            self.failure = std::current_exception();
        }
    }
    // Between an entry and the question, which the tree hands over in either order.
    static int measure(const void *a, const void *b, double *distance, void *search) {
        Search &self = *static_cast<Search *>(search);
        const void *entry = a == self.question ? b : a;
        try {
            *distance = static_cast<Entry *>(const_cast<void *>(entry))->distance(*self.question);
            return 1;
        } catch (...) {
            self.failure = std::current_exception();
            return 0;
        }
    }
    void end() const {
        if (failure) std::rethrow_exception(failure);
    }
};

class Index {
  public:
    Index() : tree_(GEOSSTRtree_create_r(geos::context(), NODE_CAPACITY)) {
        if (!tree_) refuse_geos();
    }
    ~Index() { GEOSSTRtree_destroy_r(geos::context(), tree_); }
    Index(const Index &) = delete;
    Index &operator=(const Index &) = delete;

    void add(std::string_view key, Geometry &&geometry) {
        const geos::Geometry box = envelope(box_of(geometry.get()));
        Entry &entry = entries_.emplace_back(entries_.size(), key, std::move(geometry));
        GEOSSTRtree_insert_r(geos::context(), tree_, box.get(), &entry);
    }

    // take(key) gets the keys whose geometry meets the other, in order, as long as it answers
    // true.
    template <typename Take> void find(QOR_GEOMETRY geometry, Take take) {
        Question question(geometry);
        Search search;
        GEOSSTRtree_query_r(geos::context(), tree_, question.box().get(), Search::collect, &search);
        search.end();
        std::ranges::sort(search.candidates, {}, &Entry::number);
        for (Entry *entry : search.candidates)
            if (entry->meets(question) && !take(entry->key())) return;
    }

    // Null when the index is empty.
    const Entry *find_nearest(QOR_GEOMETRY geometry, double *distance) {
        if (entries_.empty()) return nullptr;
        Question question(geometry);
        Search search{&question, {}, {}};
        const void *found = GEOSSTRtree_nearest_generic_r(geos::context(), tree_, &question, question.box().get(),
                                                          Search::measure, &search);
        search.end();
        if (!found) refuse_geos();
        Entry *nearest = static_cast<Entry *>(const_cast<void *>(found));
        *distance = nearest->distance(question);
        return nearest;
    }

  private:
    static constexpr size_t NODE_CAPACITY = 10;
    GEOSSTRtree *tree_;
    std::deque<Entry> entries_; // the tree knows them by their addresses
};

// By id; null for an id that is free. Shared, since a message may run script code that
// removes the index in use.
std::vector<std::shared_ptr<Index>> indexes;

std::shared_ptr<Index> &index_of(int32_t id) {
    if (id < 0 || static_cast<size_t>(id) >= indexes.size() || !indexes[id])
        throw Fault{"invalid index id " + std::to_string(id)};
    return indexes[id];
}

// Moves the map's reading position.
std::shared_ptr<Index> index_map(QOR_MAP *map) {
    auto index = std::make_shared<Index>();
    Text key;
    Object object;
    int32_t status;
    MAP_RESET_READ(&map);
    for (;;) {
        MAP_READ_OBJECT_REF(&map, &key.value, &object.value, &status);
        if (!status) return index;
        if (!OBJ_object_value_is_defined(object.value)) continue;
        if (OBJ_get_type(object.value) != BTYP_geometry_tidf())
            throw Fault{std::string(view(key.value)) + " is no geometry"};
        QOR_GEOMETRY borrowed;
        BTYP_read_geometry_ref(object.value, &borrowed);
        if (GEOM_ISEMPTY(borrowed)) continue;
        index->add(view(key.value), copy_of(borrowed));
    }
}

void create_index() {
    run("CREATE_INDEX", "M", "i", [](const Arguments &values) {
        std::shared_ptr<Index> index = index_map(values.map(0));
        const auto free = std::ranges::find(indexes, nullptr);
        const auto id = static_cast<int32_t>(free - indexes.begin());
        if (free == indexes.end())
            indexes.push_back(std::move(index));
        else
            *free = std::move(index);
        QORCPU_PUSHI(id);
    });
}

void find() {
    run("FIND", "ig", "L", [](const Arguments &values) {
        const std::shared_ptr<Index> index = index_of(values.integer(0));
        Object keys;
        BTYP_create_list(&keys.value);
        index->find(values.geometry(1), [&keys](const std::string &key) {
            Object text;
            BTYP_create_string(&text.value, borrow(key));
            BTYP_append_to_list(keys.value, text.value);
            return true;
        });
        push(keys);
    });
}

void find_first() {
    run("FIND_FIRST", "ig", "s", [](const Arguments &values) {
        const std::shared_ptr<Index> index = index_of(values.integer(0));
        const std::string *first = nullptr;
        index->find(values.geometry(1), [&first](const std::string &key) {
            first = &key;
            return false;
        });
        Object key; // NULL where there is none, which is too frequent to be thrown
        BTYP_create_undef_string(&key.value);
        if (first) BTYP_write_string(key.value, borrow(*first));
        push(key);
    });
}

void find_nearest() {
    run("FIND_NEAREST", "ig", "sr", [](const Arguments &values) {
        const std::shared_ptr<Index> index = index_of(values.integer(0));
        double distance;
        const Entry *nearest = index->find_nearest(values.geometry(1), &distance);
        if (!nearest) throw No_result{};
        push(nearest->key());
        QORCPU_PUSHR(distance);
    });
}

void remove_index() {
    run("REMOVE_INDEX", "i", "", [](const Arguments &values) { index_of(values.integer(0)).reset(); });
}

constexpr Row METHODS[] = {
    {"GEO", "CREATE_INDEX", create_index, 1, 1, "[m geometries][i index]"},
    {"GEO", "FIND", find, 2, 1, "[i index,g geometry][l keys]"},
    {"GEO", "FIND_FIRST", find_first, 2, 1, "[i index,g geometry][s key]"},
    {"GEO", "FIND_NEAREST", find_nearest, 2, 2, "[i index,g geometry][s key,r distance]"},
    {"GEO", "REMOVE_INDEX", remove_index, 1, 0, "[i index][]"},
};

} // namespace

std::span<const Row> index_methods() { return METHODS; }

void finish_index() { indexes.clear(); }

} // namespace geo
