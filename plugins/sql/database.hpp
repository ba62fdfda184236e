// The database module in the terms of this plug-in.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "modules/owners.hpp"
#include "qor/db.h"

namespace sql {

using namespace owners;

// What ends the run: the text of its message.
struct Fault {
    std::string text;
};

// While it lives, the module shows nothing of failures: whoever asks tells them.
class Silence {
  public:
    Silence() : former_(DB_is_silent(1)) {}
    ~Silence() { DB_is_silent(former_); }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;

  private:
    const int32_t former_;
};

// What ids lead to. They are given out again when they are free.
template <typename Item> class Slots {
  public:
    explicit Slots(const char *what) : what_(what) {}

    int32_t add(std::shared_ptr<Item> item) {
        size_t id = 0;
        while (id < items_.size() && items_[id]) ++id;
        if (id == items_.size()) items_.emplace_back();
        items_[id] = std::move(item);
        return static_cast<int32_t>(id);
    }
    // By value: a message may run script code that frees the id.
    std::shared_ptr<Item> at(int32_t id) const { return items_[index(id)]; }
    std::shared_ptr<Item> take(int32_t id) { return std::exchange(items_[index(id)], nullptr); }
    std::vector<std::shared_ptr<Item>> all() const {
        std::vector<std::shared_ptr<Item>> used;
        for (const auto &item : items_)
            if (item) used.push_back(item);
        return used;
    }
    void remove(const std::shared_ptr<Item> &item) {
        for (auto &slot : items_)
            if (slot == item) slot = nullptr;
    }

  private:
    size_t index(int32_t id) const {
        const auto index = static_cast<size_t>(id);
        if (id < 0 || index >= items_.size() || !items_[index])
            throw Fault{std::string("invalid ") + what_ + " " + std::to_string(id)};
        return index;
    }

    const char *what_;
    std::vector<std::shared_ptr<Item>> items_;
};

// A text that names a connection; ids of what is the same connection share it.
struct Connection {
    std::string text;
    bool is_batching = false; // its transaction is the writers'
};

// A statement that was run. It ends with its owner.
class Cursor {
  public:
    // The parameters may be nil. Failure is seen by is_done.
    Cursor(std::shared_ptr<Connection> connection, std::string_view statement, QOR_OBJECT *parameters);
    ~Cursor() { DB_close_cursor(&id_); }
    Cursor(const Cursor &) = delete;
    Cursor &operator=(const Cursor &) = delete;

    const Connection &connection() const { return *connection_; }
    bool is_done() const { return is_done_; }
    bool has_rows() const { return id_ != 0; }
    int64_t affected() const { return affected_; }
    // The next row into the map; false at the end. A failure is a Fault: it must not
    // look like the end.
    bool fetch(QOR_MAP *row);

  private:
    const std::shared_ptr<Connection> connection_;
    QOR_CURSOR id_ = 0;
    int64_t affected_ = 0;
    uint64_t rows_ = 0;
    bool is_done_ = false;
};

// A result of DB_get_info; nil when there is none.
void ask(const Connection &connection, int32_t what, std::string_view name, Object *result);
// Of the last failure.
std::string reason(const Connection &connection);
bool in_transaction(const Connection &connection);
bool is_connected(const Connection &connection, int32_t action);

} // namespace sql
