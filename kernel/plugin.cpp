// Plug-ins: libraries that register classes from an entry named after them.
#include "kernel/plugin.hpp"

#include <string_view>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "kernel/strng.hpp"
#include "kernel/upcalls.hpp"
#include "platform/platform.hpp"
#include "qor/class.h"
#include "qor/msg.h"
#include "qor/option.h"
#include "qor/qorproc.h"

namespace qor {

namespace {

constexpr size_t MAX_PLUGINS = 100;

struct Plugin {
    std::string name;  // both in upper case
    std::string entry; // from which the names of the two entries are built
    void *handle = nullptr;
};

std::vector<Plugin> plugins; // in the order of loading
// Those whose _INIT runs: one may load others.
std::vector<Plugin *> initialising;
bool unloading = false;

struct Initialising {
    explicit Initialising(Plugin *plugin) { initialising.push_back(plugin); }
    ~Initialising() { initialising.pop_back(); }
    Initialising(const Initialising &) = delete;
    Initialising &operator=(const Initialising &) = delete;
};

Plugin *find_plugin(const std::string &name) {
    for (Plugin &plugin : plugins) {
        if (plugin.name == name) return &plugin;
    }
    for (Plugin *plugin : initialising) {
        if (plugin->name == name) return plugin;
    }
    return nullptr;
}

std::string upper_case(std::string_view text) {
    std::string result(text);
    STRNG2_TO_UPPER_C(result.data());
    return result;
}

// Cuts the next item off the list. An empty one ends the list, whatever follows.
bool PLUGIN_NEXT_ITEM(std::string_view *list, Plugin *item) {
    const size_t comma = list->find(',');
    const std::string_view text = list->substr(0, comma);
    list->remove_prefix(comma == list->npos ? list->size() : comma + 1);
    if (text.empty()) return false;
    const size_t sign = text.find('=');
    item->name = upper_case(text.substr(0, sign));
    item->entry = sign == text.npos ? "" : upper_case(text.substr(sign + 1));
    if (item->entry.empty()) item->entry = item->name;
    return true;
}

// The reason is that of a library that is there and can not be loaded; when
// there is none, that of the search beside the kernel.
void *open_library(const std::string &name, std::string *reason) {
    const std::string file = name + platform::LIBRARY_SUFFIX;
    Strng user, system;
    OPTION_GET_USER_BIN_DIR(&user);
    OPTION_GET_SYSTEM_BIN_DIR(&system);
    for (const std::string_view directory : {user.text(), system.text()}) {
        const std::string path = std::string(directory) + platform::SEPARATOR + file;
        if (void *library = platform::load_library(path)) return library;
        if (reason->empty() && platform::is_readable_file(path)) *reason = platform::library_error();
    }
    if (void *library = platform::load_library(file)) return library;
    if (reason->empty()) *reason = platform::library_error();
    return platform::load_library(name);
}

template <typename Procedure> Procedure find_entry(const Plugin &plugin, const char *suffix) {
    const std::string name = plugin.entry + suffix;
    void *entry = platform::find_symbol(plugin.handle, name.c_str());
    if (!entry) MESSAGE_DISPLAY_ERROR_F("method %s not implemented in plugin\n", name.c_str());
    return reinterpret_cast<Procedure>(entry);
}

void load(Plugin plugin) {
    std::string reason = unloading ? "the plug-ins are being unloaded" : "";
    if (!unloading) plugin.handle = open_library(plugin.name, &reason);
    if (!plugin.handle) {
        MESSAGE_DISPLAY_S(borrow(""));
        MESSAGE_DISPLAY_ERROR_F("can not load plugin %s\n", plugin.name.c_str());
        MESSAGE_DISPLAY_F("GetLastError:\n%s\n", reason.c_str());
        return;
    }
    // Without its entry the library stays loaded, but it does not count.
    const auto init = find_entry<void (*)(const char *)>(plugin, "_INIT");
    if (!init) return;
    class_keep_natives();
    {
        const Initialising scope(&plugin);
        init(QORLIB_GET_MAINLIB());
    }
    plugins.push_back(std::move(plugin));
}

} // namespace

void PLUGIN_LOAD(const std::string &list) {
    std::string_view rest = list;
    Plugin item;
    while (PLUGIN_NEXT_ITEM(&rest, &item)) {
        if (Plugin *loaded = find_plugin(item.name)) {
            loaded->entry = item.entry; // its _TERMINATE is looked up under the new name: kept
            continue;
        }
        if (plugins.size() + initialising.size() >= MAX_PLUGINS) {
            MESSAGE_DISPLAY_ERROR_F("unable to load more than %d plugins\n", static_cast<int>(MAX_PLUGINS));
            return;
        }
        load(item);
    }
}

void QORPROC_LOAD_PLUGINS_AS(const std::string &list, const std::string &class_name) {
    struct Prefix {
        explicit Prefix(const std::string &name) { CLASS_set_prefix(name.c_str()); }
        ~Prefix() { CLASS_clear_prefix(); }
    };
    const Prefix prefix(class_name);
    PLUGIN_LOAD(list);
}

// All are told to terminate while none of them is unloaded.
void PLUGIN_UNLOAD_ALL() {
    unloading = true;
    for (size_t i = plugins.size(); i-- > 0;) {
        const auto terminate = find_entry<void (*)()>(plugins[i], "_TERMINATE");
        if (terminate) terminate();
    }
    for (; !plugins.empty(); plugins.pop_back()) platform::unload_library(plugins.back().handle);
    class_restore_natives();
    obj_release_type_ids();
    unloading = false;
}

} // namespace qor

void QORPROC_LOAD_PLUGINS(const char *list) { qor::PLUGIN_LOAD(list); }
