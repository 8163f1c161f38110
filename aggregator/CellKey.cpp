#include "CellKey.h"

#include <cstdio>
#include <string>

#include "BP_Character.h"

const int CellKey::PRIME_FACTOR[49] = {3,   5,   7,   11,  13,  17,  19,  23,  29,  31,  37,  41,  43,
                                       47,  53,  59,  61,  67,  71,  73,  79,  83,  89,  97,  101, 103,
                                       107, 109, 113, 127, 131, 137, 139, 149, 151, 157, 163, 167, 173,
                                       179, 181, 191, 193, 197, 199, 211, 223, 227, 229};

void CellKey::display() const
{
    std::string line = "\t Key: ";
    char buf[32];
    for (int i = 0; i < arLength; ++i) {
        std::snprintf(buf, sizeof buf, "  %d", ar[i]);
        line += buf;
    }
    line += "\n";
    BP_ToFront(1, BP_Character(line));
}
