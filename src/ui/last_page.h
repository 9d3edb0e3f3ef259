// Where a text box must be scrolled to so that its newest lines show.
#pragma once

namespace harbinet {

// How many lines a box must scroll back (0: none) that shows `visible` lines at a time, the first
// of them being number `first` of `count`. A box may be scrolled so far that its last line, which
// is empty, stands at the top.
constexpr int LinesBeyondLastPage(int first, int visible, int count) {
    const int last_page = count > visible ? count - visible : 0;
    return first > last_page ? first - last_page : 0;
}

}  // namespace harbinet
