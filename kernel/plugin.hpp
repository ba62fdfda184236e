// The plug-in loader, beside QORPROC_LOAD_PLUGINS.
#pragma once

#include <string>

namespace qor {

// Loads a comma-separated list of NAME or NAME=ENTRY. All failures are reported
// and passed over.
void PLUGIN_LOAD(const std::string &list);
// The same; what the plug-ins register meanwhile goes to the class of this name.
void QORPROC_LOAD_PLUGINS_AS(const std::string &list, const std::string &class_name);

} // namespace qor
