// SPDX-License-Identifier: MIT
#include "ctl/layout_mistakes.h"

bool accept_layout(const setup::Layout& layout, Workplace& place) {
    // As compilers print them, so that editors find the place.
    for (const setup::LayoutMistake& mistake : layout.mistakes)
        place.errors.line(mistake_line(mistake));
    for (const setup::LayoutMistake& warning : layout.warnings)
        place.errors.line(place_text(warning.place) + ": warning: " + warning.text);
    return layout.mistakes.empty();
}

std::optional<setup::Layout> accepted_layout(const Request& request, Workplace& place) {
    setup::Layout layout =
        request.machine ? moved_to(place.layout, request.machine->code) : place.layout;
    if (!accept_layout(layout, place))
        return std::nullopt;
    return layout;
}
