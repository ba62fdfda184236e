#include "parameters.hpp"

#include "qor/msg.h"

namespace db {

bool Parameters::take(QOR_OBJECT *parameters) {
    if (!parameters || !OBJ_object_value_is_defined(parameters)) return true;
    const int32_t type = OBJ_get_type(parameters);
    if (type == BTYP_map_tidf())
        BTYP_read_map_ref(parameters, &map_);
    else if (type == BTYP_list_tidf())
        take_list(parameters);
    else
        MESSAGE_ABORT_F("*** ABORT *** DB(DB_open_cursor) values come in a list or a map, not in a %s\n",
                        OBJ_get_type_name_C(parameters));
    return type == BTYP_map_tidf() || type == BTYP_list_tidf();
}

// Whoever reads the list goes on where he was.
void Parameters::take_list(QOR_OBJECT *list) {
    QOR_LIST_NODE *position = BTYP_get_read_position(list);
    BTYP_reset_read_list(list);
    for (int32_t found = 1; found;) {
        Object value;
        BTYP_read_next_listobj_ref(list, &value.value, &found);
        if (found) list_.push_back(std::move(value));
    }
    BTYP_restore_read_position(list, position);
}

void Parameters::bind(Prepared &prepared) const {
    Statement &statement = *prepared.statement;
    const size_t given = is_named() ? prepared.names.size() : list_.size();
    if (given != statement.mark_count())
        throw Failure{std::to_string(statement.mark_count()) + " marks in the statement, but " + std::to_string(given) +
                          (is_named() ? " of them with a name" : " values"),
                      ""};
    for (size_t i = 0; i < given; ++i) {
        if (!is_named()) {
            statement.bind(i, value_of(list_[i].value));
            continue;
        }
        Object value;
        int32_t found;
        MAP_MAP_OBJECT_REF(map_, borrow(prepared.names[i]), &value.value, &found);
        if (!found) throw Failure{"no value for :" + prepared.names[i], ""};
        statement.bind(i, value_of(value.value)); // the map holds the object
    }
}

} // namespace db
