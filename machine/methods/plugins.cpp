// Plug-ins that a script loads while it runs.
#include "kernel/plugin.hpp"
#include "machine/methods/methods.hpp"

namespace qor {

namespace {

void load() {
    Strng list;
    QORCPU_POPS(&list);
    PLUGIN_LOAD(list.c_str());
}

constexpr Native_method METHODS[] = {{"LOAD", load, 1, 0, 'P', "[s plugins][]"}};

} // namespace

void register_plugin_methods() { register_methods("QOR", METHODS); }

} // namespace qor
