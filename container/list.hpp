// What the kernel may do with a list beyond the exported interface: walk its
// elements apart from the read cursor. Valid while the list does not change.
#pragma once

#include "qor/types.h"

namespace qor {

// The first node of a list, which may be nil, and the node behind one; null at
// the end.
const QOR_LIST_NODE *list_first(const QOR_LIST *list);
const QOR_LIST_NODE *list_next(const QOR_LIST_NODE *node);
QOR_OBJECT *list_object(const QOR_LIST_NODE *node); // borrowed

} // namespace qor
