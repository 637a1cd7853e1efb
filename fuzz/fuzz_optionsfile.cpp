// The options key file: whatever a user.ini holds, what "Save options" then
// writes parses back into the same widget states (serialize -> parse ->
// serialize is stable), and the tolerance stays within 0..15.
#include "core/optionsfile.h"
#include "fuzz_support.h"

#include <cstring>

namespace {

OptionsState apply(OptionsState state, const OptionsUpdate &u)
{
    if (u.tolerance)
        state.tolerance = *u.tolerance;
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        if (u.buttons[i])
            state.buttons[i] = *u.buttons[i];
    if (u.automove)
        state.automove = *u.automove;
    if (u.font)
        state.font = *u.font;
    return state;
}

bool same(const OptionsState &a, const OptionsState &b)
{
    if (a.tolerance != b.tolerance || a.automove != b.automove || a.font != b.font)
        return false;
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        if (a.buttons[i] != b.buttons[i])
            return false;
    return true;
}

// Parses text that the program wrote itself: it must be a key file and set
// every widget.
OptionsState parse_own(const std::string &text)
{
    OptionsUpdate u;
    FUZZ_CHECK(options_parse(text.data(), text.size(), u));
    FUZZ_CHECK(u.tolerance.has_value() && u.automove.has_value() && u.font.has_value());
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        FUZZ_CHECK(u.buttons[i].has_value());
    return apply(OptionsState(), u);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    OptionsUpdate update;
    if (!options_parse(reinterpret_cast<const char *>(data), size, update)) {
        // Nothing is set when the text is no key file.
        FUZZ_CHECK(!update.tolerance && !update.automove && !update.font);
        for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
            FUZZ_CHECK(!update.buttons[i]);
        return 0;
    }
    if (update.tolerance)
        FUZZ_CHECK(*update.tolerance >= 0.0 && *update.tolerance <= TOLERANCE_MAX);

    // The widgets as the file leaves them (the tolerance scale holds whole
    // steps), saved and read back twice.
    OptionsState state = apply(OptionsState(), update);
    state.tolerance = static_cast<int>(state.tolerance);
    const std::string first = options_serialize(state);
    const OptionsState reread = parse_own(first);
    FUZZ_CHECK(same(reread, state));
    const std::string second = options_serialize(reread);
    FUZZ_CHECK(second == first);
    FUZZ_CHECK(!first.empty() && first.back() == '\n');
    return 0;
}
