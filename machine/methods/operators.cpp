// Comparisons, arithmetic, boolean and bit operators.
//
// Each operator tries the usual operands first, defined values of one type, and
// puts the result into the record of the left one. Everything else goes the slow
// road of typed pops, the top first, which reports what does not fit.
#include <cmath>
#include <type_traits>

#include "machine/methods/texts.hpp"

namespace qor {

namespace {

// --- operands ------------------------------------------------------------------

struct Operands {
    QOR_OBJECT *left = nullptr;
    QOR_OBJECT *right = nullptr;

    bool are(Type type) const { return has_value(left, type) && has_value(right, type); }
};

// The two topmost objects, borrowed. Nothing when the stack is too short.
inline Operands operands() {
    if (qorcpu_stack_top < 2) [[unlikely]]
        return {};
    return {qorcpu_stack[qorcpu_stack_top - 2], qorcpu_stack[qorcpu_stack_top - 1]};
}

inline void drop_two() { qorcpu_stack_top -= 2; }

inline void replace_two(int32_t value) {
    drop_two();
    qorcpu_push_int(value);
}
inline void replace_two(double value) {
    drop_two();
    qorcpu_push_real(value);
}
inline void replace_two(bool value) {
    drop_two();
    qorcpu_push_boolean(value);
}

// Every int that an operator pops is remembered, for the product of a real and
// a long.
inline int32_t pop_int() { return qormeth_work_int = qorcpu_pop_int(); }

// A boolean, or a string TRUE or FALSE.
inline uint32_t pop_truth() {
    QOR_OBJECT *o = qorcpu_top();
    if (has_value(o, TYPE_BOOLEAN) && is_reusable_scalar(o)) [[likely]] {
        qorcpu_drop();
        return o->boolean_value;
    }
    int32_t value = 0;
    QORCPU_POPB(&value);
    return static_cast<uint32_t>(value);
}

// --- comparison ------------------------------------------------------------------

inline uint8_t order_of(STRNG a, STRNG b) {
    uint8_t order;
    STRNG_COMPARE(a, b, &order);
    return order;
}

struct Equal {
    static constexpr bool FOR_BOOLEANS = true;
    static constexpr const char *NAME = "=";
    static constexpr const char *REFUSAL = "type not supported by operator =";
    template <class T> static bool of(T a, T b) { return a == b; }
    static bool of_texts(STRNG a, STRNG b) { return STRNG_MATCH(a, b) != 0; }
};
struct Unequal {
    static constexpr bool FOR_BOOLEANS = true;
    static constexpr const char *NAME = "<>";
    static constexpr const char *REFUSAL = "type not supported by operator <>";
    template <class T> static bool of(T a, T b) { return a != b; }
    static bool of_texts(STRNG a, STRNG b) { return STRNG_MATCH(a, b) == 0; }
};
struct Less {
    static constexpr bool FOR_BOOLEANS = false;
    static constexpr const char *NAME = "<";
    static constexpr const char *REFUSAL = "type not supported by operator <";
    template <class T> static bool of(T a, T b) { return a < b; }
    static bool of_texts(STRNG a, STRNG b) { return order_of(a, b) == 0; }
};
struct Less_or_equal {
    static constexpr bool FOR_BOOLEANS = false;
    static constexpr const char *NAME = "<=";
    static constexpr const char *REFUSAL = "type not supported by operator <=";
    template <class T> static bool of(T a, T b) { return a <= b; }
    static bool of_texts(STRNG a, STRNG b) { return order_of(a, b) <= 1; }
};
struct Greater {
    static constexpr bool FOR_BOOLEANS = false;
    static constexpr const char *NAME = ">";
    static constexpr const char *REFUSAL = "type not supported by operator >";
    template <class T> static bool of(T a, T b) { return a > b; }
    static bool of_texts(STRNG a, STRNG b) { return order_of(a, b) == 2; }
};
struct Greater_or_equal {
    static constexpr bool FOR_BOOLEANS = false;
    static constexpr const char *NAME = ">=";
    static constexpr const char *REFUSAL = "type not supported by operator >=";
    template <class T> static bool of(T a, T b) { return a >= b; }
    static bool of_texts(STRNG a, STRNG b) { return order_of(a, b) >= 1; }
};

// The type of the top alone decides; the other operand must have the same.
template <class Comparison> [[gnu::noinline]] void compare_by_pops() {
    if (QORCPU_TOP_IS_STRING()) {
        Strng right, left;
        QORCPU_POPS(&right);
        QORCPU_POPS(&left);
        qorcpu_push_boolean(Comparison::of_texts(left, right));
    } else if (QORCPU_TOP_IS_INT()) {
        const int32_t right = pop_int();
        const int32_t left = pop_int();
        qorcpu_push_boolean(Comparison::of(left, right));
    } else if (QORCPU_TOP_IS_LONG()) {
        const int64_t right = qorcpu_pop_long();
        const int64_t left = qorcpu_pop_long();
        qorcpu_push_boolean(Comparison::of(left, right));
    } else if (QORCPU_TOP_IS_REAL()) {
        const double right = qorcpu_pop_real();
        const double left = qorcpu_pop_real();
        qorcpu_push_boolean(Comparison::of(left, right));
    } else if (Comparison::FOR_BOOLEANS && QORCPU_TOP_IS_BOOLEAN()) {
        const uint32_t right = pop_truth();
        const uint32_t left = pop_truth();
        qorcpu_push_boolean(Comparison::of(left, right));
    } else {
        qormeth_abort(Comparison::NAME, Comparison::REFUSAL);
    }
}

template <class Comparison> void compare() {
    const Operands o = operands();
    if (o.are(TYPE_INT)) [[likely]] {
        qormeth_work_int = o.left->int_value;
        replace_two(Comparison::of(o.left->int_value, o.right->int_value));
    } else if (o.are(TYPE_STRING)) {
        const bool result = Comparison::of_texts(*string_of(o.left), *string_of(o.right));
        qorcpu_release_top();
        qorcpu_drop();
        qorcpu_push_boolean(result);
    } else if (o.are(TYPE_REAL)) {
        replace_two(Comparison::of(o.left->real_value, o.right->real_value));
    } else {
        compare_by_pops<Comparison>();
    }
}

// --- arithmetic ------------------------------------------------------------------

// Integers wrap without notice, so they are computed unsigned.
template <class T> struct Wrapping { using Type = std::make_unsigned_t<T>; };
template <> struct Wrapping<double> { using Type = double; };
template <class T> using Wraps = typename Wrapping<T>::Type;

struct Add {
    static constexpr const char *NAME = "+";
    static constexpr const char *REFUSAL = "+: argument has to be of type real, int or long";
    template <class T> static T of(T a, T b) { return static_cast<T>(Wraps<T>(a) + Wraps<T>(b)); }
};
struct Subtract {
    static constexpr const char *NAME = "-";
    static constexpr const char *REFUSAL = "-: argument has to be of type real, int or long";
    template <class T> static T of(T a, T b) { return static_cast<T>(Wraps<T>(a) - Wraps<T>(b)); }
};
struct Multiply {
    template <class T> static T of(T a, T b) { return static_cast<T>(Wraps<T>(a) * Wraps<T>(b)); }
};

// Int with int, and every pair of int and real. False: nothing has been done.
template <class Operation> inline bool calculate_usual() {
    const Operands o = operands();
    if (has_value(o.right, TYPE_INT)) {
        if (has_value(o.left, TYPE_INT)) [[likely]] {
            qormeth_work_int = o.left->int_value;
            replace_two(Operation::of(o.left->int_value, o.right->int_value));
            return true;
        }
        if (has_value(o.left, TYPE_REAL)) {
            qormeth_work_int = o.right->int_value;
            replace_two(Operation::of(o.left->real_value, static_cast<double>(o.right->int_value)));
            return true;
        }
    } else if (has_value(o.right, TYPE_REAL)) {
        if (has_value(o.left, TYPE_REAL)) {
            replace_two(Operation::of(o.left->real_value, o.right->real_value));
            return true;
        }
        if (has_value(o.left, TYPE_INT)) {
            qormeth_work_int = o.left->int_value;
            replace_two(Operation::of(static_cast<double>(o.left->int_value), o.right->real_value));
            return true;
        }
    }
    return false;
}

template <class Operation> void calculate_with_int_on_top() {
    const int32_t right = pop_int();
    if (QORCPU_TOP_IS_INT()) {
        qorcpu_push_int(Operation::of(pop_int(), right));
    } else if (QORCPU_TOP_IS_LONG()) {
        qorcpu_push_long(Operation::of(qorcpu_pop_long(), static_cast<int64_t>(right)));
    } else {
        qorcpu_push_real(Operation::of(qorcpu_pop_real(), static_cast<double>(right)));
    }
}

template <class Operation> [[gnu::noinline]] void add_by_pops() {
    if (QORCPU_TOP_IS_INT()) {
        calculate_with_int_on_top<Operation>();
    } else if (QORCPU_TOP_IS_LONG()) {
        const int64_t right = qorcpu_pop_long();
        if (QORCPU_TOP_IS_INT()) {
            qorcpu_push_long(Operation::of(static_cast<int64_t>(pop_int()), right));
        } else if (QORCPU_TOP_IS_LONG()) {
            qorcpu_push_long(Operation::of(qorcpu_pop_long(), right));
        } else {
            qorcpu_push_real(Operation::of(qorcpu_pop_real(), static_cast<double>(right)));
        }
    } else if (QORCPU_TOP_IS_REAL()) {
        const double right = qorcpu_pop_real();
        if (QORCPU_TOP_IS_REAL()) {
            qorcpu_push_real(Operation::of(qorcpu_pop_real(), right));
        } else if (QORCPU_TOP_IS_INT()) {
            qorcpu_push_real(Operation::of(static_cast<double>(pop_int()), right));
        } else {
            qorcpu_push_real(Operation::of(static_cast<double>(qorcpu_pop_long()), right));
        }
    } else {
        qormeth_abort(Operation::NAME, Operation::REFUSAL);
    }
}

template <class Operation> void add_or_subtract() {
    if (!calculate_usual<Operation>()) add_by_pops<Operation>();
}

// Pops a text that must be a number as a whole. False when an abort returned.
bool pop_numeric_text(const char *method, double *number) {
    if (!texts_on_top(1)) return false;
    Work_text text;
    text->assign(operand_text(0));
    qorcpu_release_top();
    STRNG_CURSOR cursor;
    STRNG2_PREPX(text->get(), &cursor);
    if (STRNG_GET_LREAL(&cursor, number) && STRNG_EOX(&cursor)) return true;
    qormeth_abort(method, "invalid number : ", text->get());
    return false;
}

// The product of two numeric texts, as a text. Also the / of texts multiplies,
// a property that is kept: scripts have seen no other result.
void multiply_texts(const char *method) {
    double right, left;
    if (!pop_numeric_text(method, &right) || !pop_numeric_text(method, &left)) return;
    Work_text product;
    STRNG_APPLREAL(left * right, &*product, 6);
    qorcpu_push_text(product->text());
}

void multiply() {
    if (calculate_usual<Multiply>()) return;
    if (QORCPU_TOP_IS_INT()) {
        calculate_with_int_on_top<Multiply>();
    } else if (QORCPU_TOP_IS_LONG()) {
        const int64_t right = qorcpu_pop_long();
        if (QORCPU_TOP_IS_INT()) {
            qorcpu_push_long(Multiply::of(static_cast<int64_t>(pop_int()), right));
        } else if (QORCPU_TOP_IS_LONG()) {
            qorcpu_push_long(Multiply::of(qorcpu_pop_long(), right));
        } else {
            // Kept: the long is not used, the last int that was popped is.
            qorcpu_push_real(qorcpu_pop_real() * qormeth_work_int);
        }
    } else if (QORCPU_TOP_IS_REAL()) {
        const double right = qorcpu_pop_real();
        if (QORCPU_TOP_IS_REAL()) {
            qorcpu_push_real(qorcpu_pop_real() * right);
        } else {
            // Kept: a long is popped as an int here, and so refused.
            qorcpu_push_real(pop_int() * right);
        }
    } else if (QORCPU_TOP_IS_STRING()) {
        multiply_texts("*");
    }
    // Kept: any other type on top leaves the stack as it is.
}

// The number on top, widened; anything else is refused as a real.
double pop_number() {
    if (QORCPU_TOP_IS_INT()) return pop_int();
    if (QORCPU_TOP_IS_LONG()) return static_cast<double>(qorcpu_pop_long());
    return qorcpu_pop_real();
}

// Division by zero gives an infinity or a NaN.
void divide() {
    const Operands o = operands();
    if (o.are(TYPE_INT)) {
        qormeth_work_int = o.left->int_value;
        replace_two(static_cast<double>(o.left->int_value) / static_cast<double>(o.right->int_value));
    } else if (o.are(TYPE_REAL)) {
        replace_two(o.left->real_value / o.right->real_value);
    } else if (QORCPU_TOP_IS_INT()) {
        const double right = pop_int();
        qorcpu_push_real(pop_number() / right);
    } else if (QORCPU_TOP_IS_LONG()) {
        const double right = static_cast<double>(qorcpu_pop_long());
        // Kept: of two longs the one on top is divided by itself.
        const bool two_longs = QORCPU_TOP_IS_LONG();
        const double left = pop_number();
        qorcpu_push_real((two_longs ? right : left) / right);
    } else if (QORCPU_TOP_IS_REAL()) {
        const double right = qorcpu_pop_real();
        qorcpu_push_real(pop_number() / right);
    } else if (QORCPU_TOP_IS_STRING()) {
        multiply_texts("/");
    }
    // Kept: any other type on top leaves the stack as it is.
}

// The sign follows the dividend. The most negative number by -1 does not fit
// the processor's division; its remainder is 0.
template <class T> T remainder(T dividend, T divisor) { return divisor == -1 ? 0 : dividend % divisor; }

[[gnu::noinline]] void mod_by_pops() {
    static constexpr char WRONG_TYPE[] = "mod: argument has to be of type int or long";
    const bool int_on_top = QORCPU_TOP_IS_INT();
    if (!int_on_top && !QORCPU_TOP_IS_LONG()) return qormeth_abort("MOD", WRONG_TYPE);
    const int64_t divisor = int_on_top ? pop_int() : qorcpu_pop_long();
    const bool int_below = QORCPU_TOP_IS_INT();
    if (!int_below && !QORCPU_TOP_IS_LONG()) return qormeth_abort("MOD", WRONG_TYPE);
    if (divisor == 0) return qormeth_abort("MOD", "mod: division by zero");
    QOR_OBJECT *dividend = qorcpu_top();
    if (int_below) {
        dividend->int_value = static_cast<int32_t>(remainder(int64_t{dividend->int_value}, divisor));
    } else {
        dividend->long_value = remainder(dividend->long_value, divisor);
    }
}

// The left operand is overwritten in place and keeps its type.
void mod() {
    const Operands o = operands();
    if (!o.are(TYPE_INT) || o.right->int_value == 0) return mod_by_pops();
    qormeth_work_int = o.right->int_value;
    qorcpu_drop();
    o.left->int_value = remainder(o.left->int_value, qormeth_work_int);
}

void abs() {
    if (QORCPU_TOP_IS_REAL()) {
        qorcpu_push_real(std::fabs(qorcpu_pop_real()));
    } else if (QORCPU_TOP_IS_INT()) {
        const int32_t value = qorcpu_pop_int();
        qorcpu_push_int(value < 0 ? Subtract::of(0, value) : value);
    } else if (QORCPU_TOP_IS_LONG()) {
        const int64_t value = qorcpu_pop_long();
        qorcpu_push_long(value < 0 ? Subtract::of(int64_t{0}, value) : value);
    } else {
        qormeth_abort("ABS", "ABS: argument has to be of type int or real");
    }
}

// In place, also on a shared object and without a look at the defined bit: a
// NULL is changed in its store and stays NULL.
template <class Operation> void step() {
    QOR_OBJECT *o = qorcpu_top();
    if (type_of(o) == TYPE_INT) [[likely]] {
        o->int_value = Operation::of(o->int_value, 1);
        return;
    }
    OBJ_assert_type(o, TYPE_LONG);
    if (type_of(o) == TYPE_LONG) o->long_value = Operation::of(o->long_value, int64_t{1});
}

// --- boolean and bit operators -----------------------------------------------------

// The object on top, to be changed in place whoever else refers to it and
// whether or not it is defined. Null when the abort of a wrong type returned.
inline QOR_OBJECT *top_in_place(Type type) {
    QOR_OBJECT *o = qorcpu_top();
    if (type_of(o) == type) [[likely]]
        return o;
    OBJ_assert_type(o, type);
    return nullptr;
}

void boolean_and() {
    const uint32_t right = pop_truth();
    if (QOR_OBJECT *o = top_in_place(TYPE_BOOLEAN)) o->boolean_value = o->boolean_value == 1 && right == 1;
}

void boolean_or() {
    const uint32_t right = pop_truth();
    if (QOR_OBJECT *o = top_in_place(TYPE_BOOLEAN)) o->boolean_value = o->boolean_value == 1 || right == 1;
}

void boolean_xor() {
    const uint32_t right = pop_truth();
    if (QOR_OBJECT *o = top_in_place(TYPE_BOOLEAN)) o->boolean_value = o->boolean_value != right;
}

void boolean_not() {
    if (QOR_OBJECT *o = top_in_place(TYPE_BOOLEAN)) o->boolean_value = o->boolean_value != 1;
}

template <int32_t (*operation)(int32_t, int32_t)> void on_bits() {
    const int32_t right = qorcpu_pop_int();
    if (QOR_OBJECT *o = top_in_place(TYPE_INT)) o->int_value = operation(o->int_value, right);
}

int32_t bits_and(int32_t a, int32_t b) { return a & b; }
int32_t bits_or(int32_t a, int32_t b) { return a | b; }
int32_t bits_xor(int32_t a, int32_t b) { return a ^ b; }
int32_t shift_left(int32_t a, int32_t b) { return a << (b & 31); }
int32_t shift_right(int32_t a, int32_t b) { return a >> (b & 31); } // keeps the sign

// The texts of * and / say Zahl1+Zahl2, the help has always shown them so.
constexpr Native_method TABLE[] = {
    {"=", compare<Equal>, 2, 1, 'I', ""},
    {"==", compare<Equal>, 2, 1, 'I', ""},
    {"<>", compare<Unequal>, 2, 1, 'I', ""},
    {"<", compare<Less>, 2, 1, 'I', ""},
    {"<=", compare<Less_or_equal>, 2, 1, 'I', ""},
    {">", compare<Greater>, 2, 1, 'I', ""},
    {">=", compare<Greater_or_equal>, 2, 1, 'I', ""},
    {"+", add_or_subtract<Add>, 2, 1, 'P', "+(Zahl1,Zahl2)         = (Zahl1+Zahl2)"},
    {"-", add_or_subtract<Subtract>, 2, 1, 'P', "-(Zahl1,Zahl2)         = (Zahl1-Zahl2)"},
    {"*", multiply, 2, 1, 'P', "*(Zahl1,Zahl2)         = (Zahl1+Zahl2)"},
    {"/", divide, 2, 1, 'P', "/(Zahl1,Zahl2)         = (Zahl1+Zahl2)"},
    {"MOD", mod, 2, 1, 'P', "[i val1, i val2][i result]"},
    {"ABS", abs, 1, 1, 'P', "[r val][r val]"},
    {"INC", step<Add>, 1, 1, 'P', "[i ival][i ival]"},
    {"DEC", step<Subtract>, 1, 1, 'P', "[i ival][i ival]"},
    {"AND", boolean_and, 2, 1, 'P', ""},
    {"OR", boolean_or, 2, 1, 'P', ""},
    {"XOR", boolean_xor, 2, 1, 'P', ""},
    {"NOT", boolean_not, 1, 1, 'P', ""},
    {"INTAND", on_bits<bits_and>, 2, 1, 'P', ""},
    {"INTOR", on_bits<bits_or>, 2, 1, 'P', ""},
    {"INTXOR", on_bits<bits_xor>, 2, 1, 'P', ""},
    {"INTSHIFTL", on_bits<shift_left>, 2, 1, 'P', ""},
    {"INTSHIFTR", on_bits<shift_right>, 2, 1, 'P', ""},
};

} // namespace

void register_operators() {
    register_methods("QOR", TABLE);
    constexpr struct {
        const char *name;
        Int_operator code;
    } INT_OPERATORS[] = {
        {"+", INT_ADD},
        {"-", INT_SUBTRACT},
        {"=", INT_EQUAL},
        {"==", INT_EQUAL},
        {"<>", INT_UNEQUAL},
        {"<", INT_LESS},
        {"<=", INT_LESS_OR_EQUAL},
        {">", INT_GREATER},
        {">=", INT_GREATER_OR_EQUAL},
    };
    for (const auto &o : INT_OPERATORS) {
        QOR_METHOD *method = nullptr;
        int32_t status = 0;
        CLASS_GET_METHOD_C("QOR", o.name, &method, &status);
        if (status) method->int_operator = o.code;
    }
}

} // namespace qor
