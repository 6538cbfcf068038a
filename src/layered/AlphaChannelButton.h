#pragma once
// CAlphaChannelButton: an image button without a window of its own. It lives inside a layered
// window (CAlphaChannelWindow), which hit-tests it, drives its state flags from the mouse and
// keyboard and asks it to paint itself into the off-screen DC of every composition.
//
// A button has an image per state (up, down, disabled, hover) taken from the image manager (which
// owns them), an optional centred caption drawn with GDI+, a command id sent to the window on a
// click, a tooltip text, a paint and a button callback, and a dirty flag that tells the window to
// compose again. Setters of visual state mark the button dirty only when the value changes.
//
// Creation: construct, set the image file names (or read the button from an INI file with
// GetButtons), then LoadImages(). The window that receives the button in its list owns it.
// The font is borrowed: it must outlive the button.
#include <windows.h>
#include <algorithm>
#include <list>
// GDI+'s headers use min and max unqualified.
namespace Gdiplus
{
using std::max;
using std::min;
}
#include <gdiplus.h>
#include "Export.h"

class CAlphaChannelImage;
class CCriticalSectionEx;
class CIniFile;

class VESKON_API CAlphaChannelButton
{
public:
    // Placement of a layered window on the screen; any other value counts as POSITION_CENTER.
    enum ALPHA_CHANNEL_WINDOW_POSITION
    {
        POSITION_CENTER = 0,
        POSITION_BOTTOM_RIGHT = 1,
        POSITION_OFFSCREEN = 2
    };
    // Why the button callback is called: mouse down (also repeated while a repeater is held),
    // the mouse dragged over the pressed button, a click.
    enum BUTTON_CALLBACK_REASON
    {
        BUTTON_REASON_DOWN = 0,
        BUTTON_REASON_DRAG = 1,
        BUTTON_REASON_CLICK = 2
    };
    typedef void (*PAINT_CALLBACK)(CAlphaChannelButton* button, HDC dc, void* context);
    typedef void (*BUTTON_CALLBACK)(CAlphaChannelButton* button, BUTTON_CALLBACK_REASON reason, void* context);

    CAlphaChannelButton();
    ~CAlphaChannelButton() noexcept;
    CAlphaChannelButton(const CAlphaChannelButton&) = delete;
    CAlphaChannelButton& operator=(const CAlphaChannelButton&) = delete;

    bool Dirty();
    void SetDirty(bool dirty);

    // False when inert or disabled.
    bool Repeater();
    void SetRepeater(bool repeater);
    bool AutoClose();
    void SetAutoClose(bool autoClose);

    bool Inert();
    void SetInert(bool inert);
    bool Enabled();
    void Enable(bool enable);
    bool Visible();
    void Show(bool show);
    // Focus, hover, down and press are refused while the button is disabled or inert; hover is
    // also refused while it is pressed. Press(true) sets the down flag too; Press(false) leaves it.
    bool Focused();
    void Focus(bool focus);
    bool Hovered();
    void Hover(bool hover);
    bool Down();
    void ButtonDown(bool down);
    bool Pressed();
    void Press(bool press);

    // Ignored when null, empty or equal to the current value ignoring case.
    void SetText(wchar_t* text);
    void SetUpImageFilename(wchar_t* fileName);
    void SetDownImageFilename(wchar_t* fileName);
    void SetDisabledImageFilename(wchar_t* fileName);
    void SetHoverImageFilename(wchar_t* fileName);
    // The member buffers (caption, image file names); callers do not write into them.
    wchar_t* GetText();
    wchar_t* GetUpImageFilename();
    wchar_t* GetDownImageFilename();
    wchar_t* GetDisabledImageFilename();
    wchar_t* GetHoverImageFilename();
    void SetFont(Gdiplus::Font* font);
    Gdiplus::Font* GetFont();

    int GetCommandID();
    void SetCommandID(int id);
    // The button's own 260-character buffer; callers write the text into it.
    wchar_t* GetTooltipText();

    void* GetButtonContext();
    void SetButtonContext(void* context);
    void* GetPaintContext();
    void SetPaintContext(void* context);
    PAINT_CALLBACK GetPaintCallback();
    void SetPaintCallback(PAINT_CALLBACK callback);
    BUTTON_CALLBACK GetButtonCallback();
    void SetButtonCallback(BUTTON_CALLBACK callback);

    // Position in the window's client area, truncated to integers.
    void GetRectangle(RECT& rect);
    // Intended quirk: the change test compares the incoming integer rectangle's 16 bytes with the
    // stored float rectangle's, so every rectangle but all zeros counts as a change.
    void SetRectangle(RECT& rect);

    // Size of the up image, 0 without one.
    int GetWidth();
    int GetHeight();

    // Takes the images from the image manager and makes the caption's brush and format. False
    // (with a trace line) when there is no up image name or the up image cannot be loaded.
    bool LoadImages();
    // Draws the state's image, the caption, the paint callback and (when focused and `window`
    // has the keyboard focus) a focus rectangle into dc; pressed buttons are drawn one pixel right
    // and down. Clears the dirty flag, also when nothing was drawn.
    void Paint(HWND window, HDC dc);
    void DrawControlText(HDC dc);
    // The caption drawing with this button's brush and format, without a background.
    void DrawString(Gdiplus::Graphics* graphics, wchar_t* text, int length, Gdiplus::Font* font, Gdiplus::RectF rect);
    // Draws text with the best rendering hint for this system over an optional filled background.
    // Nothing happens without graphics, brush, text, a positive length and a font.
    static void DrawString(Gdiplus::Graphics* graphics, Gdiplus::SolidBrush* text, wchar_t* string, int length,
                           Gdiplus::Font* font, Gdiplus::StringFormat* format, Gdiplus::RectF rect,
                           Gdiplus::SolidBrush* background, Gdiplus::RectF* backgroundRect);

    // Reads "x y width height" from the INI key into rect. False (with a trace line) for missing
    // arguments; a key that is absent or malformed gives all zeros.
    static bool GetRectF(CIniFile* ini, wchar_t* section, wchar_t* key, Gdiplus::RectF* rect);
    // Builds buttons from the INI keys <keyPrefix>0, <keyPrefix>1, ... of `section`; the count
    // comes from `countKey` (one less unless countIsExact). Each value reads
    //   up, down, disabled, hover image (relative to folder), left, top, width, height, command
    // where the command is IDOK, IDCANCEL, IDABORT, IDRETRY, IDIGNORE, IDYES, IDNO, IDCLOSE or
    // IDHELP. New buttons are appended to `buttons` (cleared first); the caller owns them.
    void GetButtons(std::list<CAlphaChannelButton*>& buttons, wchar_t* folder, CIniFile* ini, wchar_t* section,
                    wchar_t* keyPrefix, wchar_t* countKey, Gdiplus::Color& textColour, bool countIsExact);

protected:
    // Reads one button definition; false (with a trace line) when it cannot be read.
    static bool ReadButtonDefinition(CAlphaChannelButton* button, wchar_t* folder, CIniFile* ini, wchar_t* section,
                                     wchar_t* key);
    static void SetFileName(wchar_t* member, int size, wchar_t* value, bool& dirty);

    CAlphaChannelImage* m_upImage;
    CAlphaChannelImage* m_downImage;
    CAlphaChannelImage* m_disabledImage;
    CAlphaChannelImage* m_hoverImage;
    wchar_t m_imageName[MAX_PATH];
    int m_alpha;  // unused by the button; a layered window keeps its fade level here
    Gdiplus::SolidBrush* m_textBrush;
    Gdiplus::StringFormat* m_stringFormat;
    Gdiplus::Font* m_font;
    CCriticalSectionEx* m_lock;
    int m_commandId;
    Gdiplus::RectF m_rect;
    wchar_t m_tooltipText[MAX_PATH];
    bool m_down;
    bool m_pressed;
    bool m_enabled;
    bool m_hovered;
    bool m_visible;
    bool m_autoClose;
    bool m_inert;
    bool m_repeater;
    bool m_dirty;
    bool m_focused;
    wchar_t m_upImageFilename[MAX_PATH];
    wchar_t m_downImageFilename[MAX_PATH];
    wchar_t m_disabledImageFilename[MAX_PATH];
    wchar_t m_hoverImageFilename[MAX_PATH];
    wchar_t m_text[MAX_PATH + 1];
    PAINT_CALLBACK m_paintCallback;
    void* m_paintContext;
    BUTTON_CALLBACK m_buttonCallback;
    void* m_buttonContext;
};
