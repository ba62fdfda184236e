// The box that a compilation shows.
#include <algorithm>
#include <string_view>

#include "compiler/qorcomp_state.hpp"

namespace qor {

namespace {

constexpr std::string_view PRODUCT = "Qorkit Suite";
constexpr std::string_view KERNEL_VERSION = "2018.0";
constexpr std::string_view OWNER = "QorScript";
constexpr size_t MIN_WIDTH = 30;

// "* TEXT", blanks, and the closing star in the last column.
void display_row(std::string_view text, size_t width) {
    Strng row("* ");
    row.append(text);
    STRNG_APPNC(' ', static_cast<uint32_t>(width - 3 - text.size()), &row);
    row.append('*');
    MESSAGE_DISPLAY_S(row);
}

void display_stars(size_t width) {
    Strng row;
    STRNG_APPNC('*', static_cast<uint32_t>(width), &row);
    MESSAGE_DISPLAY_S(row);
}

} // namespace

void display_banner() {
    Strng version("Version ");
    version.append(KERNEL_VERSION);
    const size_t width = std::max({PRODUCT.size() + 4, version.text().size() + 4, OWNER.size() + 4, MIN_WIDTH});
    display_stars(width);
    for (std::string_view text : {std::string_view(), PRODUCT, std::string_view(), version.text(), std::string_view(),
                                  OWNER, std::string_view()}) {
        display_row(text, width);
    }
    display_stars(width);
}

} // namespace qor
