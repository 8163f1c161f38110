// Implementation of the small platform pieces: value comparison, collation,
// fixed-width copies and the output channel.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "BP_Character.h"
#include "OBS.h"

int ObsLexCompare(const OBS& a, const OBS& b, int width)
{
    if (width <= 0) {
        if (a.num < b.num) return -1;
        if (a.num > b.num) return 1;
        // Equal, or a NaN on either side: NaN sorts after every number so that
        // the order stays total and sorting stays well defined.
        bool nanA = a.num != a.num, nanB = b.num != b.num;
        return static_cast<int>(nanA) - static_cast<int>(nanB);
    }
    return std::memcmp(&a, &b, static_cast<size_t>(width));
}

namespace {

// Decodes one UTF-8 code point; malformed bytes decode as themselves so that
// every input still has a total order.
unsigned DecodeUtf8(const unsigned char*& p)
{
    unsigned c = *p++;
    int extra = 0;
    if (c >= 0xF0 && c < 0xF8) { c &= 0x07; extra = 3; }
    else if (c >= 0xE0) { c &= 0x0F; extra = 2; }
    else if (c >= 0xC0) { c &= 0x1F; extra = 1; }
    else return c;
    unsigned cp = c;
    for (int i = 0; i < extra; ++i) {
        if ((*p & 0xC0) != 0x80) return c;
        cp = (cp << 6) | (*p++ & 0x3F);
    }
    return cp;
}

// Folds case for ASCII, Latin-1 and the basic Greek and Cyrillic letters, and
// strips the accents of Latin-1 letters so that "é" sorts beside "e".
unsigned FoldForCollation(unsigned cp)
{
    if (cp >= 'A' && cp <= 'Z') return cp + 32;
    if (cp >= 0xC0 && cp <= 0xFF && cp != 0xD7 && cp != 0xF7) {
        static const char base[] = "aaaaaaaceeeeiiiidnooooo*ouuuuyts"
                                   "aaaaaaaceeeeiiiidnooooo/ouuuuyty";
        char b = base[cp - 0xC0];
        if (b != '*' && b != '/') return static_cast<unsigned char>(b);
    }
    if (cp >= 0x391 && cp <= 0x3A9) return cp + 32;
    if (cp >= 0x410 && cp <= 0x42F) return cp + 32;
    return cp;
}

int CompareCodePoints(const char* a, const char* b, bool fold)
{
    auto pa = reinterpret_cast<const unsigned char*>(a);
    auto pb = reinterpret_cast<const unsigned char*>(b);
    while (*pa && *pb) {
        unsigned ca = DecodeUtf8(pa), cb = DecodeUtf8(pb);
        if (fold) { ca = FoldForCollation(ca); cb = FoldForCollation(cb); }
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    if (*pa) return 1;
    if (*pb) return -1;
    return 0;
}

std::mutex sinkMutex;
BP_OutputSink currentSink;

}  // namespace

int VESKMBstrcoll_A(const char* a, const char* b)
{
    a = a ? a : "";
    b = b ? b : "";
    int r = CompareCodePoints(a, b, true);
    if (r == 0) r = CompareCodePoints(a, b, false);
    // Malformed bytes can decode alike; the bytes themselves break that tie.
    if (r == 0) r = std::strcmp(a, b);
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int VESKMBCopyToFixed_A(char* dest, int width, const char* src)
{
    if (width <= 0) return 0;
    int n = 0;
    if (src) {
        const auto* s = reinterpret_cast<const unsigned char*>(src);
        while (s[n]) {
            // A character is a lead byte and the continuation bytes its lead
            // announces and that are really there; a malformed byte stands alone.
            int len = 1;
            if (s[n] >= 0xF0 && s[n] < 0xF8) len = 4;
            else if (s[n] >= 0xE0 && s[n] < 0xF0) len = 3;
            else if (s[n] >= 0xC0 && s[n] < 0xE0) len = 2;
            int have = 1;
            while (have < len && (s[n + have] & 0xC0) == 0x80) ++have;
            if (n + have > width) break;
            n += have;
        }
        std::memcpy(dest, src, static_cast<size_t>(n));
    }
    if (n < width) std::memset(dest + n, ' ', static_cast<size_t>(width - n));
    return n;
}

void BP_ToFront(const long& kind, const BP_Character& text)
{
    BP_OutputSink sink;
    {
        std::lock_guard<std::mutex> lock(sinkMutex);
        sink = currentSink;
    }
    if (sink) {
        sink(kind, text.str());
    } else {
        std::fputs(text.c_str(), stderr);
    }
}

BP_OutputSink BP_SetOutputSink(BP_OutputSink sink)
{
    std::lock_guard<std::mutex> lock(sinkMutex);
    BP_OutputSink previous = std::move(currentSink);
    currentSink = std::move(sink);
    return previous;
}
