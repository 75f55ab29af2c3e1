#pragma once
// How texts compare when a person sorts or searches a list: without regard to case for every
// letter of every script (É and é are one letter), and with runs of digits taken as numbers,
// so that PAL/2 comes before PAL/10.
#include <string>
#include <string_view>

namespace common {

// The text with every letter in lower case (Unicode's simple case mapping); bytes that form
// no character stay as they are. The second form reuses out's room.
std::string foldCase(std::string_view text);
void foldCase(std::string_view text, std::string& out);

// Natural order of two texts: digit runs compare by their value (leading zeros break a tie
// only), everything else by code point. Negative, zero or positive, as strcmp. The texts are
// compared as they are: fold them first for an order without regard to case.
int compareNatural(std::string_view a, std::string_view b);

// Whether texts begin with the prefix, both folded to one case; for many texts in a row.
class PrefixMatch {
public:
    explicit PrefixMatch(std::string_view prefix);
    bool operator()(std::string_view text);

private:
    std::string folded_, scratch_;
    size_t length_;  // the prefix's characters
};

}  // namespace common
