#pragma once
// CAlphaChannelWindowManager: chooses the screen position of every new layered window and
// stacks windows of the same kind (the same WS_EX_APPWINDOW / WS_EX_TOOLWINDOW bits), so that a
// second notification does not cover the first: 5 pixels above the last live one, or 5 pixels to
// its left when there is no room above.
//
// Creation: Instance() builds the singleton on first use; the frame's unload deletes it.
// Windows are never removed from its list; closed ones are skipped because they are no longer
// windows.
#include <windows.h>
#include <vector>
#include "Export.h"
#include "layered/AlphaChannelButton.h"

class VESKON_API CAlphaChannelWindowManager
{
public:
    static CAlphaChannelWindowManager* Instance();
    // True when the singleton exists.
    static bool Exists();
    ~CAlphaChannelWindowManager() noexcept;
    CAlphaChannelWindowManager(const CAlphaChannelWindowManager&) = delete;
    CAlphaChannelWindowManager& operator=(const CAlphaChannelWindowManager&) = delete;

    // Remembers the window and moves it to its place on the whole screen: centred, bottom right
    // (32 pixels from the right edge, 48 from the bottom) or off screen; stacked (see above)
    // unless off screen. Nothing happens for a handle that is not a window.
    void Add(HWND window, CAlphaChannelButton::ALPHA_CHANNEL_WINDOW_POSITION position);

    // Whether windows may fade at all; they always may.
    bool FadingAllowed();

private:
    CAlphaChannelWindowManager();

    std::vector<HWND> m_windows;
};
