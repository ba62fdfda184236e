// The values for the marks of a statement.
#pragma once

#include <vector>

#include "connections.hpp"

namespace db {

class Parameters {
  public:
    // A list, a map or nil; another type is misuse: false when the abort returned.
    bool take(QOR_OBJECT *parameters);
    bool is_named() const { return map_ != QOR_NIL; }
    void bind(Prepared &prepared) const;

  private:
    void take_list(QOR_OBJECT *list);

    QOR_MAP *map_ = QOR_NIL; // borrowed
    std::vector<Object> list_;
};

} // namespace db
