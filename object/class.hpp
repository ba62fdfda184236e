// Method records, and what the compiler and the machine need of classes.
#pragma once

#include "kernel/strng.hpp"
#include "object/entry_cache.hpp"
#include "object/object.hpp"
#include "qor/class.h"

namespace qor {
enum Method_kind : int16_t { METHOD_NATIVE = 0, METHOD_SCRIPT = 1, METHOD_MODEL = 2 };
}

struct QOR_METHOD {
    STRNG class_name;
    STRNG name;
    int16_t kind;
    int16_t in_count;
    int16_t out_count;
    char scope;
    QOR_PROC native;  // kind native
    uint32_t address; // kind script: the index of the first instruction
    STRNG signature;
    // Which operator the native procedure is, for the machine, which computes
    // two ints itself. Each registration makes a record of its own, so a method
    // that takes the operator's name is none.
    uint8_t int_operator;
};

namespace qor {

enum Int_operator : uint8_t {
    INT_OPERATOR_NONE,
    INT_ADD,
    INT_SUBTRACT,
    INT_EQUAL,
    INT_UNEQUAL,
    INT_LESS,
    INT_LESS_OR_EQUAL,
    INT_GREATER,
    INT_GREATER_OR_EQUAL,
};

inline QOR_METHOD *method_of(QOR_OBJECT *o) { return static_cast<QOR_METHOD *>(o->handle); }

QOR_MAP *class_directory();     // CLASSES
QOR_MAP *procedure_directory(); // PROCEDURES

// For the compiler: a script procedure, and a script method of a class.
void CLASS_CREATE_PROCEDURE(STRNG name, uint32_t address, int32_t *status);
void CLASS_CREATE_SCRIPT_METHOD(STRNG class_name, STRNG name, uint32_t address, int32_t *status);

// Takes back what a compiled script put into the classes: its procedures and
// methods, which point into a program that goes, and the classes with which it
// replaced native ones.
void class_forget_script();

// A row of a family's table of native methods.
struct Native_method {
    const char *name;
    QOR_PROC procedure;
    int16_t in_count;
    int16_t out_count;
    char scope;
    const char *signature;
};

template <size_t N> void register_methods(const char *class_name, const Native_method (&table)[N]) {
    for (const Native_method &m : table) {
        int32_t status;
        CLASS_CREATE_METHOD_C(class_name, m.name, m.procedure, m.in_count, m.out_count, m.scope, m.signature, &status);
    }
}

// Finds a method by class and name again and again without a search by name
// while both entries stay where they are.
class Method_finder {
  public:
    Method_finder(const char *class_name, const char *method) : class_name_(class_name), method_(method) {}
    // The method's object, borrowed. Null when the class or, with class_found
    // set, the method is missing.
    QOR_OBJECT *find(bool *class_found);
    const char *class_name() const { return class_name_; }
    const char *method() const { return method_; }

  private:
    const char *class_name_;
    const char *method_;
    Entry_cache class_entry_;
    Entry_cache method_entry_;
};

} // namespace qor
