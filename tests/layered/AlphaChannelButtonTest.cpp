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
const DWORD kBackground = 0x00000000;

DWORD Rgb(Gdiplus::ARGB c)
{
    return c & 0x00FFFFFF;
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
        Canvas canvas(64, 40, kBackground);
        b.Paint(nullptr, canvas.Dc());
        return canvas.Rgb(x, y);
    }
};
}

// ---- state rules ------------------------------------------------------------------------------

TEST_F(ButtonTest, FocusIsRefusedWhileDisabledOrInertAndStaysClean)
{
    CAlphaChannelButton b;
    b.Enable(false);
    b.SetDirty(false);
    b.Focus(true);
    EXPECT_FALSE(b.Focused());
    EXPECT_FALSE(b.Dirty());
    b.Enable(true);
    b.SetInert(true);
    b.SetDirty(false);
    b.Focus(true);
    EXPECT_FALSE(b.Focused());
    EXPECT_FALSE(b.Dirty());
    b.SetInert(false);
    b.SetDirty(false);
    b.Focus(true);
    EXPECT_TRUE(b.Focused());
    EXPECT_TRUE(b.Dirty());
}

TEST_F(ButtonTest, HoverIsRefusedWhilePressed)
{
    CAlphaChannelButton b;
    b.Press(true);
    b.Hover(true);
    EXPECT_FALSE(b.Hovered());
    b.Press(false);
    b.Hover(true);
    EXPECT_TRUE(b.Hovered());
}

TEST_F(ButtonTest, PressSetsDownButReleaseLeavesIt)
{
    CAlphaChannelButton b;
    b.Press(true);
    EXPECT_TRUE(b.Pressed());
    EXPECT_TRUE(b.Down());
    b.Press(false);
    EXPECT_FALSE(b.Pressed());
    EXPECT_TRUE(b.Down());
    b.ButtonDown(false);
    EXPECT_FALSE(b.Down());
    b.SetInert(true);
    b.Press(true);
    EXPECT_FALSE(b.Pressed());
    EXPECT_FALSE(b.Down());
}

TEST_F(ButtonTest, RepeaterOnlyWhenEnabledAndNotInert)
{
    CAlphaChannelButton b;
    b.SetRepeater(true);
    EXPECT_TRUE(b.Repeater());
    b.Enable(false);
    EXPECT_FALSE(b.Repeater());
    b.Enable(true);
    b.SetInert(true);
    EXPECT_FALSE(b.Repeater());
}

TEST_F(ButtonTest, TextAndFileNamesCompareWithoutCase)
{
    CAlphaChannelButton b;
    b.SetText(const_cast<wchar_t*>(L"ok"));
    b.SetDirty(false);
    b.SetText(const_cast<wchar_t*>(L"OK"));
    EXPECT_FALSE(b.Dirty());
    EXPECT_STREQ(L"ok", b.GetText());
    b.SetText(const_cast<wchar_t*>(L""));
    b.SetText(nullptr);
    EXPECT_FALSE(b.Dirty());
    EXPECT_STREQ(L"ok", b.GetText());
    b.SetText(const_cast<wchar_t*>(L"Cancel"));
    EXPECT_TRUE(b.Dirty());

    b.SetUpImageFilename(const_cast<wchar_t*>(L"C:\\Images\\Up.png"));
    b.SetDirty(false);
    b.SetUpImageFilename(const_cast<wchar_t*>(L"c:\\images\\UP.PNG"));
    EXPECT_FALSE(b.Dirty());
    EXPECT_STREQ(L"C:\\Images\\Up.png", b.GetUpImageFilename());
}

TEST_F(ButtonTest, OversizedCaptionIsCut)
{
    CAlphaChannelButton b;
    std::wstring longText(5000, L'x');
    b.SetText(&longText[0]);
    EXPECT_EQ(260u, wcslen(b.GetText()));
}

TEST_F(ButtonTest, SetRectangleComparesIntegerBytesWithFloatBytes)
{
    CAlphaChannelButton b;
    RECT zero = { 0, 0, 0, 0 };
    b.SetRectangle(zero);
    EXPECT_FALSE(b.Dirty());  // only all zeros look alike
    RECT r = { 10, 20, 90, 44 };
    b.SetRectangle(r);
    EXPECT_TRUE(b.Dirty());
    b.SetDirty(false);
    b.SetRectangle(r);  // the same rectangle again still counts as a change (intended)
    EXPECT_TRUE(b.Dirty());
    RECT back = {};
    b.GetRectangle(back);
    EXPECT_EQ(10, back.left);
    EXPECT_EQ(20, back.top);
    EXPECT_EQ(90, back.right);
    EXPECT_EQ(44, back.bottom);
}

TEST_F(ButtonTest, LoadImagesFailsWithoutAnUpImage)
{
    CAlphaChannelButton none;
    EXPECT_FALSE(none.LoadImages());
    CAlphaChannelButton missing;
    missing.SetUpImageFilename(Path(m_folder.File(L"missing.png")));
    EXPECT_FALSE(missing.LoadImages());
    EXPECT_EQ(0, missing.GetWidth());
    veskon_test::WriteFileBytes(m_folder.File(L"corrupt.png"), "not a png at all");
    CAlphaChannelButton corrupt;
    corrupt.SetUpImageFilename(Path(m_folder.File(L"corrupt.png")));
    EXPECT_FALSE(corrupt.LoadImages());
}

// ---- painting ---------------------------------------------------------------------------------

TEST_F(ButtonTest, PaintChoosesTheImageOfTheState)
{
    auto b = MakeButton();
    EXPECT_EQ(20, b->GetWidth());
    EXPECT_EQ(10, b->GetHeight());
    EXPECT_EQ(Rgb(kUp), PaintedAt(*b, 15, 15));
    EXPECT_EQ(kBackground, PaintedAt(*b, 9, 9));
    b->Hover(true);
    EXPECT_EQ(Rgb(kHover), PaintedAt(*b, 15, 15));
    b->Press(true);
    EXPECT_EQ(Rgb(kDown), PaintedAt(*b, 15, 15));
    b->Press(false);
    b->Enable(false);
    EXPECT_EQ(Rgb(kDisabled), PaintedAt(*b, 15, 15));
}

TEST_F(ButtonTest, HoverSetBeforeDisablingStillSelectsTheHoverImage)
{
    auto b = MakeButton(true, false, true);
    b->Hover(true);
    b->Enable(false);
    EXPECT_TRUE(b->Hovered());
    EXPECT_EQ(Rgb(kHover), PaintedAt(*b, 15, 15));
    b->Hover(false);  // refused while disabled
    EXPECT_TRUE(b->Hovered());
}

TEST_F(ButtonTest, PressedWithoutDownImageShowsHoverThenUp)
{
    auto b = MakeButton(false, true, true);
    b->Hover(true);
    b->Press(true);
    EXPECT_EQ(Rgb(kHover), PaintedAt(*b, 15, 15));
    b->Press(false);
    b->Hover(false);
    b->Press(true);
    EXPECT_EQ(Rgb(kUp), PaintedAt(*b, 15, 15));
}

TEST_F(ButtonTest, PressedButtonMovesOnePixelRightAndDown)
{
    auto b = MakeButton();
    Canvas up(64, 40, kBackground);
    b->Paint(nullptr, up.Dc());
    EXPECT_EQ(Rgb(kUp), up.Rgb(10, 10));
    EXPECT_EQ(Rgb(kUp), up.Rgb(29, 19));
    EXPECT_EQ(kBackground, up.Rgb(30, 20));

    b->Press(true);
    Canvas pressed(64, 40, kBackground);
    b->Paint(nullptr, pressed.Dc());
    EXPECT_EQ(kBackground, pressed.Rgb(10, 10));
    EXPECT_EQ(Rgb(kDown), pressed.Rgb(11, 11));
    EXPECT_EQ(Rgb(kDown), pressed.Rgb(30, 20));
    EXPECT_EQ(kBackground, pressed.Rgb(31, 21));
}

TEST_F(ButtonTest, InvisibleButtonDrawsNothingButIsClean)
{
    auto b = MakeButton();
    b->Show(false);
    EXPECT_TRUE(b->Dirty());
    EXPECT_EQ(kBackground, PaintedAt(*b, 15, 15));
    EXPECT_FALSE(b->Dirty());
    b->Show(true);
    b->Paint(nullptr, nullptr);  // no DC: nothing to draw, still clean
    EXPECT_FALSE(b->Dirty());
}

namespace
{
int g_paintCalls = 0;
DWORD g_pixelUnderCallback = 0;
void CountPaint(CAlphaChannelButton*, HDC dc, void* context)
{
    ++g_paintCalls;
    g_pixelUnderCallback = layered_test::DibPixel(dc, 15, 15) & 0x00FFFFFF;
    *static_cast<int*>(context) += 1;
}
}

TEST_F(ButtonTest, PaintCallbackRunsAfterTheImage)
{
    auto b = MakeButton();
    int context = 0;
    g_paintCalls = 0;
    b->SetPaintCallback(&CountPaint);
    b->SetPaintContext(&context);
    PaintedAt(*b, 0, 0);
    EXPECT_EQ(1, g_paintCalls);
    EXPECT_EQ(1, context);
    EXPECT_EQ(Rgb(kUp), g_pixelUnderCallback);
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
    const DWORD white = 0x00FFFFFF;
    // The focus rectangle is dotted: count the marked pixels along a row or a column.
    auto rowInk = [&](const Canvas& c, int y, int x0, int x1) {
        int n = 0;
        for (int x = x0; x <= x1; ++x)
            n += c.Rgb(x, y) != white ? 1 : 0;
        return n;
    };
    auto columnInk = [&](const Canvas& c, int x, int y0, int y1) {
        int n = 0;
        for (int y = y0; y <= y1; ++y)
            n += c.Rgb(x, y) != white ? 1 : 0;
        return n;
    };
    {
        Canvas c(64, 40, white);
        b->Paint(focusWindow, c.Dc());
        // The rectangle runs 2 pixels outside the 20 x 10 image at (10, 10): (8, 8) to (31, 21).
        EXPECT_GT(rowInk(c, 8, 8, 31), 5);
        EXPECT_EQ(0, rowInk(c, 7, 0, 63));
        EXPECT_GT(rowInk(c, 21, 8, 31), 5);
        EXPECT_EQ(0, rowInk(c, 22, 0, 63));
        EXPECT_GT(columnInk(c, 8, 8, 21), 3);
        EXPECT_GT(columnInk(c, 31, 8, 21), 3);
        EXPECT_EQ(0, columnInk(c, 32, 0, 39));
    }
    {
        b->Press(true);
        Canvas c(64, 40, white);
        b->Paint(focusWindow, c.Dc());
        EXPECT_EQ(0, rowInk(c, 8, 0, 63));
        EXPECT_GT(rowInk(c, 9, 9, 32), 5);
        EXPECT_GT(columnInk(c, 32, 9, 22), 3);
        EXPECT_EQ(0, columnInk(c, 33, 0, 39));
    }
    {
        // Without the keyboard focus on the window no rectangle is drawn.
        b->Press(false);
        Canvas c(64, 40, white);
        b->Paint(nullptr, c.Dc());
        EXPECT_EQ(0, rowInk(c, 8, 0, 63));
    }
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
    b->SetText(const_cast<wchar_t*>(L"I"));
    b->Show(true);

    // Count caption pixels (the grey brush over a white page) in each row, unpressed and pressed.
    auto inkRows = [&](bool pressed) {
        b->Press(pressed);
        Canvas c(64, 40, 0x00FFFFFF);
        b->DrawControlText(c.Dc());
        int top = -1;
        for (int y = 0; y < 40 && top < 0; ++y)
            for (int x = 0; x < 64; ++x)
                if (c.Rgb(x, y) != 0x00FFFFFF)
                {
                    top = y;
                    break;
                }
        return top;
    };
    const int topUp = inkRows(false);
    const int topPressed = inkRows(true);
    ASSERT_GE(topUp, 0) << "no caption drawn";
    EXPECT_EQ(topUp + 1, topPressed);
}

TEST_F(ButtonTest, DrawStringSetsTheHintAndNeedsEverything)
{
    Gdiplus::Bitmap bitmap(40, 20, PixelFormat32bppARGB);
    Gdiplus::Graphics g(&bitmap);
    g.Clear(Gdiplus::Color(255, 255, 255, 255));
    g.SetTextRenderingHint(Gdiplus::TextRenderingHintSingleBitPerPixel);
    g.SetCompositingMode(Gdiplus::CompositingModeSourceCopy);
    Gdiplus::SolidBrush ink(Gdiplus::Color(255, 0, 0, 0));
    Gdiplus::Font font(L"Arial", 16.0f, Gdiplus::FontStyleRegular, Gdiplus::UnitPixel);
    Gdiplus::RectF rect(0, 0, 40, 20);

    // Missing pieces: nothing is set, nothing drawn.
    CAlphaChannelButton::DrawString(&g, &ink, const_cast<wchar_t*>(L"W"), 1, nullptr, nullptr, rect, nullptr, nullptr);
    CAlphaChannelButton::DrawString(&g, nullptr, const_cast<wchar_t*>(L"W"), 1, &font, nullptr, rect, nullptr, nullptr);
    CAlphaChannelButton::DrawString(&g, &ink, const_cast<wchar_t*>(L"W"), 0, &font, nullptr, rect, nullptr, nullptr);
    CAlphaChannelButton::DrawString(nullptr, &ink, const_cast<wchar_t*>(L"W"), 1, &font, nullptr, rect, nullptr, nullptr);
    EXPECT_EQ(Gdiplus::TextRenderingHintSingleBitPerPixel, g.GetTextRenderingHint());

    // A background brush without its rectangle fills nothing; with it, the rectangle is filled.
    Gdiplus::SolidBrush red(Gdiplus::Color(255, 255, 0, 0));
    Gdiplus::RectF corner(30, 0, 10, 5);
    CAlphaChannelButton::DrawString(&g, &ink, const_cast<wchar_t*>(L"W"), 1000, &font, nullptr, rect, &red, nullptr);
    EXPECT_EQ(CWin32::GetBestTextRenderingHint(), static_cast<int>(g.GetTextRenderingHint()));
    EXPECT_EQ(Gdiplus::CompositingModeSourceOver, g.GetCompositingMode());
    Gdiplus::Color c;
    bitmap.GetPixel(38, 1, &c);
    EXPECT_EQ(255, c.GetG());
    CAlphaChannelButton::DrawString(&g, &ink, const_cast<wchar_t*>(L"W"), 1, &font, nullptr, rect, &red, &corner);
    bitmap.GetPixel(38, 1, &c);
    EXPECT_EQ(255, c.GetR());
    EXPECT_EQ(0, c.GetG());
}

// ---- INI definitions --------------------------------------------------------------------------

namespace
{
class IniButtonsTest : public LayeredTest
{
protected:
    std::wstring WriteIni(const std::string& text)
    {
        std::wstring path = m_folder.File(L"buttons.ini");
        EXPECT_TRUE(veskon_test::WriteFileBytes(path, text));
        return path;
    }
    std::wstring Caption(int id)
    {
        wchar_t text[MAX_PATH + 1] = {};
        CLocalize::Instance()->GetString(id, text, MAX_PATH + 1);
        return text;
    }
    static void DeleteAll(std::list<CAlphaChannelButton*>& buttons)
    {
        for (CAlphaChannelButton* b : buttons)
            delete b;
        buttons.clear();
    }
};
}

TEST_F(IniButtonsTest, GetRectFReadsXYWidthHeight)
{
    CIniFile ini(Path(WriteIni("[Layout]\r\nTitle=10 20 80 24\r\nBad=1 2 3\r\n")), 0);
    Gdiplus::RectF r(-1, -1, -1, -1);
    EXPECT_TRUE(CAlphaChannelButton::GetRectF(&ini, const_cast<wchar_t*>(L"Layout"), const_cast<wchar_t*>(L"Title"), &r));
    EXPECT_FLOAT_EQ(10.0f, r.X);
    EXPECT_FLOAT_EQ(20.0f, r.Y);
    EXPECT_FLOAT_EQ(80.0f, r.Width);
    EXPECT_FLOAT_EQ(24.0f, r.Height);
    EXPECT_TRUE(CAlphaChannelButton::GetRectF(&ini, const_cast<wchar_t*>(L"Layout"), const_cast<wchar_t*>(L"Bad"), &r));
    EXPECT_FLOAT_EQ(0.0f, r.X);
    EXPECT_FLOAT_EQ(0.0f, r.Width);
    Gdiplus::RectF untouched(5, 5, 5, 5);
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(nullptr, const_cast<wchar_t*>(L"Layout"), const_cast<wchar_t*>(L"Title"), &untouched));
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(&ini, const_cast<wchar_t*>(L""), const_cast<wchar_t*>(L"Title"), &untouched));
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(&ini, const_cast<wchar_t*>(L"Layout"), nullptr, &untouched));
    EXPECT_FALSE(CAlphaChannelButton::GetRectF(&ini, const_cast<wchar_t*>(L"Layout"), const_cast<wchar_t*>(L"Title"), nullptr));
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
    CIniFile ini(Path(WriteIni(text)), 0);

    std::list<CAlphaChannelButton*> buttons;
    buttons.push_back(nullptr);  // the list is cleared first
    Gdiplus::Color colour(255, 10, 20, 30);
    CAlphaChannelButton loader;
    loader.GetButtons(buttons, m_folder.Buffer(), &ini, const_cast<wchar_t*>(L"Buttons"), const_cast<wchar_t*>(L"Button"),
                      const_cast<wchar_t*>(L"Count"), colour, false);
    ASSERT_EQ(static_cast<size_t>(n), buttons.size());
    int i = 0;
    for (CAlphaChannelButton* b : buttons)
    {
        ASSERT_NE(nullptr, b);
        SCOPED_TRACE(names[i]);
        EXPECT_EQ(ids[i], b->GetCommandID());
        EXPECT_TRUE(b->AutoClose());  // every id of the table lies within 1..9
        const std::wstring hover = m_folder.File(L"hover" + std::to_wstring(i) + L".png");
        EXPECT_EQ(hover, std::wstring(b->GetHoverImageFilename()));
        if (captions[i])
            EXPECT_EQ(Caption(captions[i]), std::wstring(b->GetText()));
        else
            EXPECT_EQ(hover, std::wstring(b->GetText()));  // the last combined path, kept on purpose
        ++i;
    }
    // The example of the definition: up.png, ..., 10, 20, 80, 24, IDCANCEL.
    CAlphaChannelButton* cancel = *std::next(buttons.begin());
    RECT r = {};
    cancel->GetRectangle(r);
    EXPECT_EQ(10, r.left);
    EXPECT_EQ(20, r.top);
    EXPECT_EQ(90, r.right);
    EXPECT_EQ(44, r.bottom);
    EXPECT_EQ(m_folder.File(L"up.png"), std::wstring(cancel->GetUpImageFilename()));
    EXPECT_EQ(m_folder.File(L"down.png"), std::wstring(cancel->GetDownImageFilename()));
    EXPECT_EQ(m_folder.File(L"dis.png"), std::wstring(cancel->GetDisabledImageFilename()));
    DeleteAll(buttons);
}

TEST_F(IniButtonsTest, CountIsExactOrOneLessAndUnreadableDefinitionsAreDropped)
{
    CIniFile ini(Path(WriteIni("[B]\r\nN=3\r\nK0=a.png,,,,1,2,3,4,IDOK\r\nK2=c.png,,,,1,2,3,4,IDNO\r\n")), 0);
    Gdiplus::Color colour(255, 0, 0, 0);
    CAlphaChannelButton loader;
    std::list<CAlphaChannelButton*> buttons;
    loader.GetButtons(buttons, m_folder.Buffer(), &ini, const_cast<wchar_t*>(L"B"), const_cast<wchar_t*>(L"K"),
                      const_cast<wchar_t*>(L"N"), colour, false);
    // Count 3, not exact: keys K0 and K1; K1 is missing and dropped.
    ASSERT_EQ(1u, buttons.size());
    EXPECT_EQ(1, buttons.front()->GetCommandID());
    // Empty image fields leave the names empty.
    EXPECT_STREQ(L"", buttons.front()->GetDownImageFilename());
    DeleteAll(buttons);

    loader.GetButtons(buttons, m_folder.Buffer(), &ini, const_cast<wchar_t*>(L"B"), const_cast<wchar_t*>(L"K"),
                      const_cast<wchar_t*>(L"N"), colour, true);
    ASSERT_EQ(2u, buttons.size());
    EXPECT_EQ(7, buttons.back()->GetCommandID());
    DeleteAll(buttons);
}

TEST_F(IniButtonsTest, BadArgumentsGiveAnEmptyList)
{
    CIniFile ini(Path(WriteIni("[B]\r\nN=2\r\nK0=a.png,,,,1,2,3,4,IDOK\r\n")), 0);
    Gdiplus::Color colour(255, 0, 0, 0);
    CAlphaChannelButton loader;
    std::list<CAlphaChannelButton*> buttons;
    std::wstring missing = m_folder.File(L"no such folder");
    loader.GetButtons(buttons, &missing[0], &ini, const_cast<wchar_t*>(L"B"), const_cast<wchar_t*>(L"K"),
                      const_cast<wchar_t*>(L"N"), colour, true);
    EXPECT_TRUE(buttons.empty());
    loader.GetButtons(buttons, m_folder.Buffer(), nullptr, const_cast<wchar_t*>(L"B"), const_cast<wchar_t*>(L"K"),
                      const_cast<wchar_t*>(L"N"), colour, true);
    EXPECT_TRUE(buttons.empty());
    loader.GetButtons(buttons, m_folder.Buffer(), &ini, const_cast<wchar_t*>(L"B"), const_cast<wchar_t*>(L""),
                      const_cast<wchar_t*>(L"N"), colour, true);
    EXPECT_TRUE(buttons.empty());
    // A count below 1 builds nothing.
    loader.GetButtons(buttons, m_folder.Buffer(), &ini, const_cast<wchar_t*>(L"B"), const_cast<wchar_t*>(L"K"),
                      const_cast<wchar_t*>(L"Nothing"), colour, true);
    EXPECT_TRUE(buttons.empty());
}
