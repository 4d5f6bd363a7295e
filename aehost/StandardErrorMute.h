#pragma once

namespace Brindel::Host {

// Points descriptor 2 at nothing for as long as it lives, when asked to, and back at what it was
// after: the plug-in prints its console lines (a block of GL version lines for every context it
// makes) to standard error, which aehost keeps for its own messages unless --verbose. Standard
// output is never touched: it carries frames. Not for use from several threads at once.
class StandardErrorMute {
public:
    explicit StandardErrorMute(bool mute);
    ~StandardErrorMute();
    StandardErrorMute(const StandardErrorMute&) = delete;
    StandardErrorMute& operator=(const StandardErrorMute&) = delete;

private:
    int mSaved = -1;
};

} // namespace Brindel::Host
