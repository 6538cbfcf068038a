#include "layered/AlphaChannelButton.h"
#include "frame/ZintorResIds.h"
#include <cstring>
#include <cwchar>
#include <new>
#include "files/FileIO.h"
#include "files/IniFile.h"
#include "frame/CriticalSectionEx.h"
#include "frame/ErrorMsg.h"
#include "frame/Localize.h"
#include "images/ImageManager.h"
#include "layered/AlphaChannelImage.h"
#include "system/StringSearch.h"
#include "system/Win32.h"

namespace
{

const int kDefinitionChars = 1024;
const int kCaptionChars = MAX_PATH + 1;
// Commands without a known name get this id and no caption.
const int kUnknownCommand = 8;

struct Command
{
    const wchar_t* name;
    int id;
    int captionId;
};

// "IDCLOSE" shares id 1 with "IDOK" on purpose: both end the window the same way.
const Command kCommands[] = {
    { L"IDOK", 1, 315 },    { L"IDCANCEL", 2, 316 }, { L"IDABORT", 3, 317 },
    { L"IDRETRY", 4, 318 }, { L"IDIGNORE", 5, 319 }, { L"IDYES", 6, 313 },
    { L"IDNO", 7, 314 },    { L"IDCLOSE", 1, 330 },  { L"IDHELP", 9, 334 },
};

bool Empty(const wchar_t* text)
{
    return !text || !text[0];
}

// Sets `flag` to `value` when allowed and different, and marks the button dirty.
void Change(bool& flag, bool value, bool allowed, bool& dirty)
{
    if (flag != value && allowed)
    {
        flag = value;
        dirty = true;
    }
}
}

CAlphaChannelButton::CAlphaChannelButton()
    : m_upImage(nullptr), m_downImage(nullptr), m_disabledImage(nullptr), m_hoverImage(nullptr), m_imageName{},
      m_alpha(0), m_textBrush(nullptr), m_stringFormat(nullptr), m_font(nullptr),
      m_lock(new (std::nothrow) CCriticalSectionEx()), m_commandId(0), m_rect(0.0f, 0.0f, 0.0f, 0.0f),
      m_tooltipText{}, m_down(false), m_pressed(false), m_enabled(true), m_hovered(false), m_visible(true),
      m_autoClose(false), m_inert(false), m_repeater(false), m_dirty(false), m_focused(false),
      m_upImageFilename{}, m_downImageFilename{}, m_disabledImageFilename{}, m_hoverImageFilename{}, m_text{},
      m_paintCallback(nullptr), m_paintContext(nullptr), m_buttonCallback(nullptr), m_buttonContext(nullptr)
{
}

CAlphaChannelButton::~CAlphaChannelButton() noexcept
{
    delete m_textBrush;
    m_textBrush = nullptr;
    delete m_stringFormat;
    m_stringFormat = nullptr;
    delete m_lock;
    m_lock = nullptr;
}

bool CAlphaChannelButton::Dirty() { return m_dirty; }
void CAlphaChannelButton::SetDirty(bool dirty) { m_dirty = dirty; }

bool CAlphaChannelButton::Repeater()
{
    if (m_inert)
        return false;
    return m_enabled ? m_repeater : false;
}
void CAlphaChannelButton::SetRepeater(bool repeater) { m_repeater = repeater; }
bool CAlphaChannelButton::AutoClose() { return m_autoClose; }
void CAlphaChannelButton::SetAutoClose(bool autoClose) { m_autoClose = autoClose; }

bool CAlphaChannelButton::Inert() { return m_inert; }
void CAlphaChannelButton::SetInert(bool inert) { Change(m_inert, inert, true, m_dirty); }
bool CAlphaChannelButton::Enabled() { return m_enabled; }
void CAlphaChannelButton::Enable(bool enable) { Change(m_enabled, enable, true, m_dirty); }
bool CAlphaChannelButton::Visible() { return m_visible; }
void CAlphaChannelButton::Show(bool show) { Change(m_visible, show, true, m_dirty); }

bool CAlphaChannelButton::Focused() { return m_focused; }
void CAlphaChannelButton::Focus(bool focus) { Change(m_focused, focus, m_enabled && !m_inert, m_dirty); }
bool CAlphaChannelButton::Hovered() { return m_hovered; }
void CAlphaChannelButton::Hover(bool hover) { Change(m_hovered, hover, !m_pressed && m_enabled && !m_inert, m_dirty); }
bool CAlphaChannelButton::Down() { return m_down; }
void CAlphaChannelButton::ButtonDown(bool down) { Change(m_down, down, m_enabled && !m_inert, m_dirty); }
bool CAlphaChannelButton::Pressed() { return m_pressed; }

void CAlphaChannelButton::Press(bool press)
{
    Change(m_pressed, press, m_enabled && !m_inert, m_dirty);
    if (press)
        ButtonDown(true);
}

void CAlphaChannelButton::SetFileName(wchar_t* member, int size, wchar_t* value, bool& dirty)
{
    if (Empty(value) || _wcsicmp(member, value) == 0)
        return;
    wcsncpy_s(member, static_cast<size_t>(size), value, _TRUNCATE);
    dirty = true;
}

void CAlphaChannelButton::SetText(wchar_t* text) { SetFileName(m_text, kCaptionChars, text, m_dirty); }
void CAlphaChannelButton::SetUpImageFilename(wchar_t* f) { SetFileName(m_upImageFilename, MAX_PATH, f, m_dirty); }
void CAlphaChannelButton::SetDownImageFilename(wchar_t* f) { SetFileName(m_downImageFilename, MAX_PATH, f, m_dirty); }
void CAlphaChannelButton::SetDisabledImageFilename(wchar_t* f)
{
    SetFileName(m_disabledImageFilename, MAX_PATH, f, m_dirty);
}
void CAlphaChannelButton::SetHoverImageFilename(wchar_t* f) { SetFileName(m_hoverImageFilename, MAX_PATH, f, m_dirty); }

wchar_t* CAlphaChannelButton::GetText() { return m_text; }
wchar_t* CAlphaChannelButton::GetUpImageFilename() { return m_upImageFilename; }
wchar_t* CAlphaChannelButton::GetDownImageFilename() { return m_downImageFilename; }
wchar_t* CAlphaChannelButton::GetDisabledImageFilename() { return m_disabledImageFilename; }
wchar_t* CAlphaChannelButton::GetHoverImageFilename() { return m_hoverImageFilename; }
Gdiplus::Font* CAlphaChannelButton::GetFont() { return m_font; }

void CAlphaChannelButton::SetFont(Gdiplus::Font* font)
{
    if (m_font != font)
    {
        m_font = font;
        m_dirty = true;
    }
}

int CAlphaChannelButton::GetCommandID() { return m_commandId; }
void CAlphaChannelButton::SetCommandID(int id) { m_commandId = id; }
wchar_t* CAlphaChannelButton::GetTooltipText() { return m_tooltipText; }

void* CAlphaChannelButton::GetButtonContext() { return m_buttonContext; }
void CAlphaChannelButton::SetButtonContext(void* context) { m_buttonContext = context; }
void* CAlphaChannelButton::GetPaintContext() { return m_paintContext; }
void CAlphaChannelButton::SetPaintContext(void* context) { m_paintContext = context; }
CAlphaChannelButton::PAINT_CALLBACK CAlphaChannelButton::GetPaintCallback() { return m_paintCallback; }
void CAlphaChannelButton::SetPaintCallback(PAINT_CALLBACK callback) { m_paintCallback = callback; }
CAlphaChannelButton::BUTTON_CALLBACK CAlphaChannelButton::GetButtonCallback() { return m_buttonCallback; }
void CAlphaChannelButton::SetButtonCallback(BUTTON_CALLBACK callback) { m_buttonCallback = callback; }

void CAlphaChannelButton::GetRectangle(RECT& rect)
{
    rect.left = static_cast<LONG>(m_rect.X);
    rect.top = static_cast<LONG>(m_rect.Y);
    rect.right = static_cast<LONG>(m_rect.X + m_rect.Width);
    rect.bottom = static_cast<LONG>(m_rect.Y + m_rect.Height);
}

void CAlphaChannelButton::SetRectangle(RECT& rect)
{
    static_assert(sizeof(RECT) == sizeof(Gdiplus::RectF), "both rectangles are 16 bytes");
    // Intended: integers are compared with floats byte for byte, so nearly every call is a change.
    if (memcmp(&rect, &m_rect, sizeof(RECT)) == 0)
        return;
    m_rect.X = static_cast<Gdiplus::REAL>(rect.left);
    m_rect.Y = static_cast<Gdiplus::REAL>(rect.top);
    m_rect.Width = static_cast<Gdiplus::REAL>(rect.right - rect.left);
    m_rect.Height = static_cast<Gdiplus::REAL>(rect.bottom - rect.top);
    m_dirty = true;
}

int CAlphaChannelButton::GetWidth() { return m_upImage ? m_upImage->GetWidth() : 0; }
int CAlphaChannelButton::GetHeight() { return m_upImage ? m_upImage->GetHeight() : 0; }

bool CAlphaChannelButton::LoadImages()
{
    if (Empty(m_upImageFilename))
    {
        CErrorMsg::Instance()->Error(IDS_BUTTON_NO_UP_IMAGE);
        return false;
    }
    wcsncpy_s(m_imageName, m_upImageFilename, _TRUNCATE);
    CImageManager* images = CImageManager::Instance();
    if (!images)
        return false;
    m_upImage = images->Add(m_upImageFilename);
    if (!Empty(m_downImageFilename))
        m_downImage = images->Add(m_downImageFilename);
    if (!Empty(m_disabledImageFilename))
        m_disabledImage = images->Add(m_disabledImageFilename);
    if (!Empty(m_hoverImageFilename))
        m_hoverImage = images->Add(m_hoverImageFilename);
    if (!m_upImage || !m_upImage->GetHBitmap())
    {
        CErrorMsg::Instance()->Error(IDS_BUTTON_UP_IMAGE_FAILED);
        return false;
    }
    // A second load replaces the caption's brush and format; the old ones are not kept alive.
    // The caption goes dark grey here even when a definition gave it a colour: intended, callers
    // that want their colour set it after loading.
    delete m_textBrush;
    m_textBrush = new Gdiplus::SolidBrush(Gdiplus::Color(254, 58, 58, 58));
    delete m_stringFormat;
    m_stringFormat = new Gdiplus::StringFormat(0, 0);
    if (m_stringFormat)
    {
        m_stringFormat->SetFormatFlags(Gdiplus::StringFormatFlagsNoClip | Gdiplus::StringFormatFlagsNoFitBlackBox);
        m_stringFormat->SetLineAlignment(Gdiplus::StringAlignmentCenter);
        m_stringFormat->SetAlignment(Gdiplus::StringAlignmentCenter);
    }
    return true;
}

void CAlphaChannelButton::Paint(HWND window, HDC dc)
{
    if (dc && m_visible)
    {
        CAlphaChannelImage* image = m_upImage;
        if (!m_enabled && m_disabledImage)
            image = m_disabledImage;
        else if (m_pressed && m_downImage)
            image = m_downImage;
        else if (m_hovered && m_hoverImage)
            image = m_hoverImage;  // also while disabled without a disabled image

        const float offset = m_pressed ? 1.0f : 0.0f;
        const int x = static_cast<int>(m_rect.X + offset);
        const int y = static_cast<int>(m_rect.Y + offset);
        const int width = GetWidth();
        const int height = GetHeight();
        if (image)
            image->Paint(dc, x, y, 0, 0, width, height);
        DrawControlText(dc);
        if (m_paintCallback)
            m_paintCallback(this, dc, m_paintContext);
        if (m_focused && GetFocus() == window)
        {
            RECT focus;
            focus.left = x - 2;
            focus.top = y - 2;
            focus.right = focus.left + width + 4;
            focus.bottom = focus.top + height + 4;
            DrawFocusRect(dc, &focus);
        }
    }
    m_dirty = false;
}

void CAlphaChannelButton::DrawControlText(HDC dc)
{
    if (!dc || Empty(m_text) || !m_visible)
        return;
    Gdiplus::Graphics graphics(dc);
    Gdiplus::RectF rect(m_rect.X - 3.0f, m_rect.Y - 2.0f, m_rect.Width, m_rect.Height);
    if (m_pressed)
    {
        rect.X += 1.0f;
        rect.Y += 1.0f;
    }
    DrawString(&graphics, m_text, static_cast<int>(wcslen(m_text)), m_font, rect);
}

void CAlphaChannelButton::DrawString(Gdiplus::Graphics* graphics, wchar_t* text, int length, Gdiplus::Font* font,
                                     Gdiplus::RectF rect)
{
    DrawString(graphics, m_textBrush, text, length, font, m_stringFormat, rect, nullptr, nullptr);
}

void CAlphaChannelButton::DrawString(Gdiplus::Graphics* graphics, Gdiplus::SolidBrush* text, wchar_t* string,
                                     int length, Gdiplus::Font* font, Gdiplus::StringFormat* format,
                                     Gdiplus::RectF rect, Gdiplus::SolidBrush* background,
                                     Gdiplus::RectF* backgroundRect)
{
    if (!graphics || !text || Empty(string) || length <= 0 || !font)
        return;
    // Never read past the text's end, whatever length the caller claims.
    length = static_cast<int>(wcsnlen(string, static_cast<size_t>(length)));
    graphics->SetCompositingMode(Gdiplus::CompositingModeSourceOver);
    graphics->SetTextRenderingHint(static_cast<Gdiplus::TextRenderingHint>(CWin32::GetBestTextRenderingHint()));
    if (background && backgroundRect)
        graphics->FillRectangle(background, *backgroundRect);
    graphics->DrawString(string, length, font, rect, format, text);
}

bool CAlphaChannelButton::GetRectF(CIniFile* ini, wchar_t* section, wchar_t* key, Gdiplus::RectF* rect)
{
    if (!ini || Empty(section) || Empty(key) || !rect)
    {
        CErrorMsg::Instance()->Error(IDS_BUTTON_RECT_ARGS);
        return false;
    }
    RECT none = { 0, 0, 0, 0 };
    RECT read = none;
    ini->GetRectangle(section, key, &none, &read);
    // The four numbers are x, y, width and height, whatever the INI helper calls them.
    rect->X = static_cast<Gdiplus::REAL>(read.left);
    rect->Y = static_cast<Gdiplus::REAL>(read.top);
    rect->Width = static_cast<Gdiplus::REAL>(read.right);
    rect->Height = static_cast<Gdiplus::REAL>(read.bottom);
    return true;
}

void CAlphaChannelButton::GetButtons(std::list<CAlphaChannelButton*>& buttons, wchar_t* folder, CIniFile* ini,
                                     wchar_t* section, wchar_t* keyPrefix, wchar_t* countKey,
                                     Gdiplus::Color& textColour, bool countIsExact)
{
    buttons.clear();
    if (Empty(folder) || !CFileIO::FolderExists(folder) || !ini || Empty(section) || Empty(keyPrefix) ||
        Empty(countKey))
    {
        CErrorMsg::Instance()->Error(IDS_BUTTON_LIST_ARGS);
        return;
    }
    int count = ini->GetInteger(section, countKey, 0);
    if (!countIsExact)
        --count;
    for (int i = 0; i < count; ++i)
    {
        CAlphaChannelButton* button = new (std::nothrow) CAlphaChannelButton();
        if (!button)
            return;
        wchar_t key[MAX_PATH];
        _snwprintf_s(key, MAX_PATH, _TRUNCATE, L"%s%d", keyPrefix, i);
        if (!ReadButtonDefinition(button, folder, ini, section, key))
        {
            delete button;
            continue;
        }
        delete button->m_textBrush;
        button->m_textBrush = new Gdiplus::SolidBrush(textColour);
        try
        {
            buttons.push_back(button);
        }
        catch (...)
        {
            delete button;
            return;
        }
    }
}

bool CAlphaChannelButton::ReadButtonDefinition(CAlphaChannelButton* button, wchar_t* folder, CIniFile* ini,
                                               wchar_t* section, wchar_t* key)
{
    wchar_t definition[kDefinitionChars] = {};
    if (button && !Empty(folder) && CFileIO::FolderExists(folder) && ini && !Empty(key))
        ini->GetString(section, key, const_cast<wchar_t*>(L""), definition, kDefinitionChars);
    if (Empty(definition))
    {
        CErrorMsg::Instance()->Error(IDS_BUTTON_DEFINITION);
        return false;
    }

    // One buffer serves every combined image path and then the caption: without a known
    // command it still holds the hover image's path, which becomes the caption (intended).
    wchar_t buffer[kCaptionChars] = {};
    void (CAlphaChannelButton::*setters[])(wchar_t*) = {
        &CAlphaChannelButton::SetUpImageFilename, &CAlphaChannelButton::SetDownImageFilename,
        &CAlphaChannelButton::SetDisabledImageFilename, &CAlphaChannelButton::SetHoverImageFilename };
    for (int field = 0; field < 4; ++field)
    {
        wchar_t name[MAX_PATH];
        CStringSearch::GetCommaDelimitedStringValue(definition, field, name, MAX_PATH);
        buffer[0] = L'\0';
        CFileIO::CombinePath(folder, name, buffer, MAX_PATH);
        (button->*setters[field])(buffer);
    }

    const int left = CStringSearch::GetCommaDelimitedIntegerValue(definition, 4, 0);
    const int top = CStringSearch::GetCommaDelimitedIntegerValue(definition, 5, 0);
    const int width = CStringSearch::GetCommaDelimitedIntegerValue(definition, 6, 0);
    const int height = CStringSearch::GetCommaDelimitedIntegerValue(definition, 7, 0);
    RECT rect = { left, top, left + width, top + height };
    button->SetRectangle(rect);

    wchar_t name[64];
    CStringSearch::GetCommaDelimitedStringValue(definition, 8, name, 64);
    int commandId = kUnknownCommand;
    int captionId = 0;
    for (const Command& command : kCommands)
    {
        if (_wcsicmp(command.name, name) == 0)
        {
            commandId = command.id;
            captionId = command.captionId;
            break;
        }
    }
    if (captionId)
        CLocalize::Instance()->GetString(captionId, buffer, kCaptionChars);
    button->SetText(buffer);
    button->SetCommandID(commandId);
    if (commandId >= 1 && commandId <= 9)
        button->SetAutoClose(true);
    return true;
}
