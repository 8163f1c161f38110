// The host's text type and output channel, used by the library's debug output.
#ifndef KVHOST_BP_CHARACTER_H
#define KVHOST_BP_CHARACTER_H

#include <functional>
#include <string>

class BP_Character {
public:
    BP_Character() = default;
    BP_Character(const char* text) : _text(text ? text : "") {}
    BP_Character(std::string text) : _text(std::move(text)) {}
    const char* c_str() const { return _text.c_str(); }
    const std::string& str() const { return _text; }

private:
    std::string _text;
};

// Writes `text` to the current sink; `kind` is the level or kind of output
// (the library uses 1, 2 and 3). The default sink is standard error.
void BP_ToFront(const long& kind, const BP_Character& text);

// Replaces the sink (for example to capture output in a test); an empty
// function restores standard error. Returns the previous sink.
using BP_OutputSink = std::function<void(long kind, const std::string& text)>;
BP_OutputSink BP_SetOutputSink(BP_OutputSink sink);

#endif
