#include "LayeredTestSupport.h"
#include <memory>
#include "files/IniFile.h"
#include "frame/Localize.h"
#include "system/Win32.h"

using layered_test::Canvas;
using layered_test::LayeredTest;

namespace
{
// Opaque colours, so that premultiplying leaves them as they are.
const Gdiplus::ARGB kUp = 0xFF2040C0;
const Gdiplus::ARGB kDown = 0xFFC04020;
const Gdiplus::ARGB kDisabled = 0xFF808080;
const Gdiplus::ARGB kHover = 0xFF20C040;
const DWORD kWhite = 0x00FFFFFF;

DWORD Rgb(Gdiplus::ARGB c)
{
    return c & 0x00FFFFFF;
}

wchar_t* W(const wchar_t* text)
{
    return const_cast<wchar_t*>(text);
}

class ButtonTest : public LayeredTest
{
protected:
    // A 20 x 10 button at (10, 10) with the images asked for.
    std::unique_ptr<CAlphaChannelButton> MakeButton(bool down = true, bool disabled = true, bool hover = true)
    {
        std::unique_ptr<CAlphaChannelButton> b(new CAlphaChannelButton());
        b->SetUpImageFilename(Path(Png(L"up.png", 20, 10, kUp)));
        if (down)
            b->SetDownImageFilename(Path(Png(L"down.png", 20, 10, kDown)));
        if (disabled)
            b->SetDisabledImageFilename(Path(Png(L"disabled.png", 20, 10, kDisabled)));
        if (hover)
            b->SetHoverImageFilename(Path(Png(L"hover.png", 20, 10, kHover)));
        EXPECT_TRUE(b->LoadImages());
        RECT r = { 10, 10, 30, 20 };
        b->SetRectangle(r);
        return b;
    }

    DWORD PaintedAt(CAlphaChannelButton& b, int x, int y)
    {
        Canvas canvas(64, 40);
        b.Paint(nullptr, canvas.Dc());
        return canvas.Rgb(x, y);
    }
};

struct PaintLog
{
    int calls = 0;
    DWORD pixel = 0;  // at (15, 15) when the callback ran
};

void LogPaint(CAlphaChannelButton*, HDC dc, void* context)
{
    PaintLog* log = static_cast<PaintLog*>(context);
    ++log->calls;
    log->pixel = layered_test::DibPixel(dc, 15, 15) & 0x00FFFFFF;
}

// Marked (not white) pixels in the rectangle from (x0, y0) to (x1, y1), both included.
int Ink(const Canvas& c, int x0, int y0, int x1, int y1)
{
    int n = 0;
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x)
            n += c.Rgb(x, y) != kWhite ? 1 : 0;
    return n;
}
}

TEST_F(ButtonTest, StateChangeRules)
{
    CAlphaChannelButton b;
    b.Enable(false);
    b.SetDirty(false);
    b.Focus(true);
    EXPECT_FALSE(b.Focused()) << "focus refused while disabled";
    EXPECT_FALSE(b.Dirty()) << "a refused change leaves the button clean";
    b.SetRepeater(true);
    EXPECT_FALSE(b.Repeater()) << "no repeater while disabled";
    b.Enable(true);
    b.SetInert(true);
    b.SetDirty(false);
    b.Focus(true);
    b.Press(true);
    b.Hover(true);
    EXPECT_FALSE(b.Focused() || b.Pressed() || b.Down() || b.Hovered()) << "an inert button refuses every flag";
    EXPECT_FALSE(b.Dirty());
    EXPECT_FALSE(b.Repeater()) << "no repeater while inert";
    b.SetInert(false);
    EXPECT_TRUE(b.Repeater());
    b.Focus(true);
    EXPECT_TRUE(b.Focused());
    b.Press(true);
    EXPECT_TRUE(b.Pressed());
    EXPECT_TRUE(b.Down()) << "Press(true) sets down too";
    b.Hover(true);
    EXPECT_FALSE(b.Hovered()) << "hover refused while pressed";
    b.Press(false);
    EXPECT_TRUE(b.Down()) << "Press(false) leaves down alone";
    b.Hover(true);
    EXPECT_TRUE(b.Hovered());
    b.ButtonDown(false);
    EXPECT_FALSE(b.Down());
}

TEST_F(ButtonTest, TextFileNamesAndRectangle)
{
    CAlphaChannelButton b;
    b.SetText(W(L"ok"));
    b.SetUpImageFilename(W(L"C:\\Images\\Up.png"));
    b.SetDirty(false);
    b.SetText(W(L"OK"));
    b.SetText(W(L""));
    b.SetText(nullptr);
    b.SetUpImageFilename(W(L"c:\\images\\UP.PNG"));
    EXPECT_FALSE(b.Dirty()) << "the same text or file name in other case, empty and null are ignored";
    EXPECT_STREQ(L"ok", b.GetText());
    EXPECT_STREQ(L"C:\\Images\\Up.png", b.GetUpImageFilename());
    std::wstring longText(5000, L'x');
    b.SetText(&longText[0]);
    EXPECT_TRUE(b.Dirty());
    EXPECT_EQ(260u, wcslen(b.GetText())) << "an oversized caption is cut";

    RECT zero = { 0, 0, 0, 0 };
    CAlphaChannelButton fresh;
    fresh.SetRectangle(zero);
    EXPECT_FALSE(fresh.Dirty()) << "integer and float bytes look alike only for all zeros";
    RECT r = { 10, 20, 90, 44 };
    b.SetRectangle(r);
    b.SetDirty(false);
    b.SetRectangle(r);
    EXPECT_TRUE(b.Dirty()) << "the same rectangle again counts as a change (intended)";
}

TEST_F(ButtonTest, LoadImagesNeedsALoadableUpImage)
{
    CAlphaChannelButton none, missing;
    EXPECT_FALSE(none.LoadImages()) << "no up image name";
    missing.SetUpImageFilename(Path(m_folder.File(L"missing.png")));
    EXPECT_FALSE(missing.LoadImages()) << "no image for the name";
    EXPECT_EQ(0, missing.GetWidth());
}

TEST_F(ButtonTest, PaintChoosesTheImageOfTheState)
{
    auto b = MakeButton();
    EXPECT_EQ(20, b->GetWidth());
    EXPECT_EQ(10, b->GetHeight());
    EXPECT_EQ(Rgb(kUp), PaintedAt(*b, 15, 15));
    b->Hover(true);
    EXPECT_EQ(Rgb(kHover), PaintedAt(*b, 15, 15));
    b->Press(true);
    EXPECT_EQ(Rgb(kDown), PaintedAt(*b, 15, 15));
    b->Press(false);
    b->Enable(false);
    EXPECT_EQ(Rgb(kDisabled), PaintedAt(*b, 15, 15));

    // Without a disabled image the other flags choose; a hover set before disabling stays.
    auto noDisabled = MakeButton(true, false, true);
    noDisabled->Hover(true);
    noDisabled->Enable(false);
    noDisabled->Hover(false);
    EXPECT_TRUE(noDisabled->Hovered()) << "Hover(false) refused while disabled";
    EXPECT_EQ(Rgb(kHover), PaintedAt(*noDisabled, 15, 15));

    // Pressed without a down image: the hover image when hovered, else the up image.
    auto noDown = MakeButton(false, true, true);
    noDown->Hover(true);
    noDown->Press(true);
    EXPECT_EQ(Rgb(kHover), PaintedAt(*noDown, 15, 15));
    noDown->Press(false);
    noDown->Hover(false);
    noDown->Press(true);
    EXPECT_EQ(Rgb(kUp), PaintedAt(*noDown, 15, 15));
}

TEST_F(ButtonTest, PressedOffsetPaintCallbackAndVisibility)
{
    auto b = MakeButton();
    PaintLog log;
    b->SetPaintCallback(&LogPaint);
    b->SetPaintContext(&log);
    Canvas up(64, 40);
    b->Paint(nullptr, up.Dc());
    EXPECT_EQ(Rgb(kUp), up.Rgb(10, 10));
    EXPECT_EQ(Rgb(kUp), up.Rgb(29, 19));
    EXPECT_EQ(0u, up.Rgb(30, 20));
    EXPECT_EQ(1, log.calls);
    EXPECT_EQ(Rgb(kUp), log.pixel) << "the callback runs after the image";

    b->Press(true);
    Canvas pressed(64, 40);
    b->Paint(nullptr, pressed.Dc());
    EXPECT_EQ(0u, pressed.Rgb(10, 10)) << "one pixel right and down";
    EXPECT_EQ(Rgb(kDown), pressed.Rgb(11, 11));
    EXPECT_EQ(Rgb(kDown), pressed.Rgb(30, 20));
    EXPECT_EQ(0u, pressed.Rgb(31, 21));

    b->Show(false);
    EXPECT_TRUE(b->Dirty());
    EXPECT_EQ(0u, PaintedAt(*b, 15, 15)) << "invisible: nothing drawn";
    EXPECT_FALSE(b->Dirty()) << "but clean";
    EXPECT_EQ(2, log.calls);
    b->Show(true);
    b->Paint(nullptr, nullptr);
    EXPECT_FALSE(b->Dirty()) << "no DC: nothing to draw, still clean";
}

TEST_F(ButtonTest, FocusRectangleFollowsThePressedOffset)
{
    HWND focusWindow = CreateWindowExW(0, L"STATIC", L"focus", WS_POPUP | WS_VISIBLE, 0, 0, 10, 10, nullptr, nullptr,
                                       GetModuleHandleW(nullptr), nullptr);
    ASSERT_NE(nullptr, focusWindow);
    SetForegroundWindow(focusWindow);
    SetFocus(focusWindow);
    if (GetFocus() != focusWindow)
    {
        DestroyWindow(focusWindow);
        GTEST_SKIP() << "this display gives the test no keyboard focus";
    }
    auto b = MakeButton();
    b->Focus(true);
    // The dotted rectangle runs 2 pixels outside the 20 x 10 image at (10, 10): (8, 8) to (31, 21).
    Canvas c(64, 40, kWhite);
    b->Paint(focusWindow, c.Dc());
    EXPECT_GT(Ink(c, 8, 8, 31, 8), 5);
    EXPECT_GT(Ink(c, 8, 21, 31, 21), 5);
    EXPECT_GT(Ink(c, 31, 8, 31, 21), 3);
    EXPECT_EQ(0, Ink(c, 0, 7, 63, 7));
    EXPECT_EQ(0, Ink(c, 0, 22, 63, 22));
    EXPECT_EQ(0, Ink(c, 32, 0, 32, 39));

    b->Press(true);
    Canvas p(64, 40, kWhite);
    b->Paint(focusWindow, p.Dc());
    EXPECT_EQ(0, Ink(p, 0, 8, 63, 8)) << "pressed: one pixel right and down";
    EXPECT_GT(Ink(p, 9, 9, 32, 9), 5);
    EXPECT_GT(Ink(p, 32, 9, 32, 22), 3);
    EXPECT_EQ(0, Ink(p, 33, 0, 33, 39));

    b->Press(false);
    Canvas n(64, 40, kWhite);
    b->Paint(nullptr, n.Dc());
    EXPECT_EQ(0, Ink(n, 0, 8, 63, 8)) << "no rectangle without the keyboard focus on the window";
    DestroyWindow(focusWindow);
}

TEST_F(ButtonTest, CaptionIsDrawnAndMovesWhenPressed)
{
    auto b = MakeButton();
    RECT wide = { 0, 0, 64, 40 };
    b->SetRectangle(wide);
    Gdiplus::Font font(L"Arial", 30.0f, Gdiplus::FontStyleBold, Gdiplus::UnitPixel);
    ASSERT_EQ(Gdiplus::Ok, font.GetLastStatus());
    b->SetFont(&font);
    b->SetText(W(L"I"));
    // The first row with caption ink (the grey brush over a white page).
    auto topInk = [&](bool pressed) {
        b->Press(pressed);
        Canvas c(64, 40, kWhite);
        b->DrawControlText(c.Dc());
        for (int y = 0; y < 40; ++y)
            if (Ink(c, 0, y, 63, y) > 0)
                return y;
        return -1;
    };
    const int topUp = topInk(false);
    ASSERT_GE(topUp, 0) << "no caption drawn";
    EXPECT_EQ(topUp + 1, topInk(true));
}

TEST_F(ButtonTest, DrawStringSetsTheHintAndNeedsEverything)
{
    Gdiplus::Bitmap bitmap(40, 20, PixelFormat32bppARGB);
    Gdiplus::Graphics g(&bitmap);
    g.Clear(Gdiplus::Color(255, 255, 255, 255));
    g.SetTextRenderingHint(Gdiplus::TextRenderingHintSingleBitPerPixel);
    g.SetCompositingMode(Gdiplus::CompositingModeSourceCopy);
    Gdiplus::SolidBrush ink(Gdiplus::Color(255, 0, 0, 0));
    Gdiplus::SolidBrush red(Gdiplus::Color(255, 255, 0, 0));
    Gdiplus::Font font(L"Arial", 16.0f, Gdiplus::FontStyleRegular, Gdiplus::UnitPixel);
    Gdiplus::RectF rect(0, 0, 40, 20), corner(30, 0, 10, 5);
    auto draw = [&](Gdiplus::Graphics* graphics, Gdiplus::SolidBrush* brush, int length, Gdiplus::Font* f,
                    Gdiplus::RectF* background) {
        CAlphaChannelButton::DrawString(graphics, brush, W(L"W"), length, f, nullptr, rect, &red, background);
    };
    draw(&g, &ink, 1, nullptr, &corner);
    draw(&g, nullptr, 1, &font, &corner);
    draw(&g, &ink, 0, &font, &corner);
    draw(nullptr, &ink, 1, &font, &corner);
    EXPECT_EQ(Gdiplus::TextRenderingHintSingleBitPerPixel, g.GetTextRenderingHint()) << "a piece missing: nothing set";
    Gdiplus::Color c;
    bitmap.GetPixel(38, 1, &c);
    EXPECT_EQ(255, c.GetB()) << "a piece missing: nothing filled";

    draw(&g, &ink, 1000, &font, nullptr);
    EXPECT_EQ(CWin32::GetBestTextRenderingHint(), static_cast<int>(g.GetTextRenderingHint()));
    EXPECT_EQ(Gdiplus::CompositingModeSourceOver, g.GetCompositingMode());
    bitmap.GetPixel(38, 1, &c);
    EXPECT_EQ(255, c.GetG()) << "a background brush without its rectangle fills nothing";
    draw(&g, &ink, 1, &font, &corner);
    bitmap.GetPixel(38, 1, &c);
    EXPECT_EQ(255, c.GetR());
    EXPECT_EQ(0, c.GetG()) << "with its rectangle the background is filled";
}

namespace
{
class IniButtonsTest : public LayeredTest
{
protected:
    wchar_t* WriteIni(const std::string& text)
    {
        std::wstring path = m_folder.File(L"buttons.ini");
        EXPECT_TRUE(veskon_test::WriteFileBytes(path, text));
        return Path(path);
    }
    // Loads buttons from section B and deletes them; returns their command ids.
    std::vector<int> Load(wchar_t* folder, CIniFile* ini, const wchar_t* prefix, const wchar_t* countKey, bool exact)
    {
        std::list<CAlphaChannelButton*> buttons = { nullptr };  // the list is cleared first
        Gdiplus::Color colour(255, 0, 0, 0);
        CAlphaChannelButton().GetButtons(buttons, folder, ini, W(L"B"), W(prefix), W(countKey), colour, exact);
        std::vector<int> ids;
        for (CAlphaChannelButton* b : buttons)
        {
            ids.push_back(b ? b->GetCommandID() : -1);
            EXPECT_STREQ(L"", b ? b->GetDownImageFilename() : L"") << "an empty image field leaves the name empty";
            delete b;
        }
        return ids;
    }
};
}

TEST_F(IniButtonsTest, GetRectFReadsXYWidthHeight)
{
    CIniFile ini(WriteIni("[Layout]\r\nTitle=10 20 80 24\r\nBad=1 2 3\r\n"), 0);
    Gdiplus::RectF r(-1, -1, -1, -1);
    EXPECT_TRUE(CAlphaChannelButton::GetRectF(&ini, W(L"Layout"), W(L"Title"), &r));
    EXPECT_TRUE(r.Equals(Gdiplus::RectF(10, 20, 80, 24))) << r.X << " " << r.Y << " " << r.Width << " " << r.Height;
    EXPECT_TRUE(CAlphaChannelButton::GetRectF(&ini, W(L"Layout"), W(L"Bad"), &r));
    EXPECT_TRUE(r.Equals(Gdiplus::RectF(0, 0, 0, 0))) << "an unreadable value gives the zero default";
    Gdiplus::RectF untouched(5, 5, 5, 5);
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(nullptr, W(L"Layout"), W(L"Title"), &untouched));
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(&ini, W(L""), W(L"Title"), &untouched));
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(&ini, W(L"Layout"), nullptr, &untouched));
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(&ini, W(L"Layout"), W(L"Title"), nullptr));
    EXPECT_FLOAT_EQ(5.0f, untouched.X);
}

TEST_F(IniButtonsTest, EveryCommandName)
{
    const char* names[] = { "IDOK", "IDCANCEL", "IDABORT", "IDRETRY", "IDIGNORE", "IDYES", "IDNO", "idclose", "IDHELP", "IDBOGUS", "" };
    const int ids[] = { 1, 2, 3, 4, 5, 6, 7, 1, 9, 8, 8 };
    const int captions[] = { 315, 316, 317, 318, 319, 313, 314, 330, 334, 0, 0 };
    const int n = 11;
    std::string text = "[Buttons]\r\nCount=" + std::to_string(n + 1) + "\r\n";
    for (int i = 0; i < n; ++i)
        text += "Button" + std::to_string(i) + "=up.png, down.png, dis.png, hover" + std::to_string(i) + ".png, 10, 20, 80, 24, " +
                names[i] + "\r\n";
    CIniFile ini(WriteIni(text), 0);
    std::list<CAlphaChannelButton*> buttons;
    Gdiplus::Color colour(255, 10, 20, 30);
    CAlphaChannelButton().GetButtons(buttons, m_folder.Buffer(), &ini, W(L"Buttons"), W(L"Button"), W(L"Count"), colour, false);
    ASSERT_EQ(static_cast<size_t>(n), buttons.size());
    int i = 0;
    for (CAlphaChannelButton* b : buttons)
    {
        SCOPED_TRACE(names[i]);
        EXPECT_EQ(ids[i], b->GetCommandID());
        EXPECT_TRUE(b->AutoClose());  // every id of the table lies within 1..9
        const std::wstring hover = m_folder.File(L"hover" + std::to_wstring(i) + L".png");
        EXPECT_EQ(hover, std::wstring(b->GetHoverImageFilename()));
        wchar_t caption[MAX_PATH + 1] = {};
        CLocalize::Instance()->GetString(captions[i], caption, MAX_PATH + 1);
        // Without a caption string the last combined path (the hover image) is the caption, kept on purpose.
        EXPECT_EQ(captions[i] ? std::wstring(caption) : hover, std::wstring(b->GetText()));
        ++i;
    }
    // The example: up.png, down.png, dis.png, hover.png, 10, 20, 80, 24, IDCANCEL.
    CAlphaChannelButton* cancel = *std::next(buttons.begin());
    RECT r = {}, expected = { 10, 20, 90, 44 };
    cancel->GetRectangle(r);
    EXPECT_TRUE(EqualRect(&expected, &r)) << r.left << " " << r.top << " " << r.right << " " << r.bottom;
    EXPECT_EQ(m_folder.File(L"up.png"), std::wstring(cancel->GetUpImageFilename()));
    EXPECT_EQ(m_folder.File(L"down.png"), std::wstring(cancel->GetDownImageFilename()));
    EXPECT_EQ(m_folder.File(L"dis.png"), std::wstring(cancel->GetDisabledImageFilename()));
    for (CAlphaChannelButton* b : buttons)
        delete b;
}

TEST_F(IniButtonsTest, CountAndRefusals)
{
    CIniFile ini(WriteIni("[B]\r\nN=3\r\nZero=0\r\nK0=a.png,,,,1,2,3,4,IDOK\r\nK2=c.png,,,,1,2,3,4,IDNO\r\n"), 0);
    wchar_t* folder = m_folder.Buffer();
    EXPECT_EQ(std::vector<int>{ 1 }, Load(folder, &ini, L"K", L"N", false)) << "count 3 less one: K0, and K1 is missing";
    EXPECT_EQ((std::vector<int>{ 1, 7 }), Load(folder, &ini, L"K", L"N", true)) << "count exact: K0 to K2";
    EXPECT_TRUE(Load(Path(m_folder.File(L"no such folder")), &ini, L"K", L"N", true).empty()) << "missing folder";
    EXPECT_TRUE(Load(folder, nullptr, L"K", L"N", true).empty()) << "no INI object";
    EXPECT_TRUE(Load(folder, &ini, L"", L"N", true).empty()) << "empty key prefix";
    EXPECT_TRUE(Load(folder, &ini, L"K", L"Zero", true).empty()) << "count below 1";
}
