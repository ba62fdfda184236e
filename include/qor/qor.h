/* The whole exported interface of libqor. */
#ifndef QOR_QOR_H
#define QOR_QOR_H

#include "qor/array.h"
#include "qor/blob.h"
#include "qor/btyp.h"
#include "qor/class.h"
#include "qor/conv.h"
#include "qor/db.h"
#include "qor/geom.h"
#include "qor/lex2.h"
#include "qor/map.h"
#include "qor/msg.h"
#include "qor/obj.h"
#include "qor/option.h"
#include "qor/qorcpu.h"
#include "qor/qorio.h"
#include "qor/qorproc.h"
#include "qor/storage.h"
#include "qor/strng.h"
#include "qor/table.h"
#include "qor/textfile.h"
#include "qor/types.h"

#endif
