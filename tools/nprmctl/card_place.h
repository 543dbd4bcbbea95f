// Where the card is looked for, and what is wrong with that place.
#ifndef NPRMCTL_CARD_PLACE_H
#define NPRMCTL_CARD_PLACE_H

#include <string>

struct card_place {
    std::string directory;
    std::string wrong;  // "DIRECTORY does not exist", empty: nothing is wrong
    std::string next;   // what to do about it
};
card_place find_card_place();

// What the local transport says of an error at a path, in its two halves.
card_place explained_place(int error, const std::string &path);

#endif
