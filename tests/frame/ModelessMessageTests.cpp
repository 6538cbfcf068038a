// CModelessMessage: dialog 6000 on a thread of its own, filled by Show, hidden by its 3 s timer
// (which a second Show does not extend), by a click, OK, Cancel or close, never destroyed until
// the object goes. Needs ZintorRes.dll beside the test program (bin\Resource\<lang>\).
#include <gtest/gtest.h>
#include <windows.h>
#include <string>
#include "frame/ErrorMsg.h"
#include "frame/Localize.h"
#include "frame/ModelessMessage.h"
#include "frame/ZintorResIds.h"
#include "support/TestSupport.h"

using veskon_test::PumpUntil;

namespace
{
std::wstring TextOf(HWND hwnd)
{
    wchar_t text[8192] = {};
    GetWindowTextW(hwnd, text, 8192);
    return text;
}

class ModelessMessage : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(CLocalize::Instance()->GethInstance(), nullptr) << "ZintorRes.dll not loaded";
        m_message = CModelessMessage::Instance();
        m_dlg = m_message->GetHwnd();
        ASSERT_TRUE(IsWindow(m_dlg));
    }
    void TearDown() override
    {
        delete CModelessMessage::Instance();
        PumpUntil([&] { return !IsWindow(m_dlg); }, 3000);
    }
    bool Visible() const { return IsWindowVisible(m_dlg) != FALSE; }
    bool HiddenSoon(int ms)
    {
        return PumpUntil([&] { return !Visible(); }, ms) && IsWindow(m_dlg);
    }

    CModelessMessage* m_message = nullptr;
    HWND m_dlg = nullptr;
};
}

TEST_F(ModelessMessage, RunsItsCentredDialogOnAThreadOfItsOwnUntilDeleted)
{
    EXPECT_NE(GetWindowThreadProcessId(m_dlg, nullptr), GetCurrentThreadId());
    EXPECT_EQ(GetPropW(m_dlg, L"ModelessMessageClassPtr"), static_cast<HANDLE>(m_message));
    EXPECT_FALSE(Visible());
    EXPECT_EQ(CModelessMessage::Instance(), m_message) << "one per process";
    RECT area = {}, window = {};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    GetWindowRect(m_dlg, &window);
    EXPECT_LE(abs((window.left + window.right) - (area.left + area.right)), 2) << "centred within a pixel";
    EXPECT_LE(abs((window.top + window.bottom) - (area.top + area.bottom)), 2);

    // Deleting it, even while shown, ends dialog and thread; the next Instance() starts afresh.
    DWORD threadId = GetWindowThreadProcessId(m_dlg, nullptr);
    HANDLE thread = OpenThread(SYNCHRONIZE, FALSE, threadId);
    ASSERT_NE(thread, nullptr);
    m_message->Show(L"Going", L"away");
    delete CModelessMessage::Instance();
    EXPECT_FALSE(IsWindow(m_dlg));
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    CloseHandle(thread);

    m_dlg = CModelessMessage::Instance()->GetHwnd(); // TearDown deletes the fresh one
    ASSERT_TRUE(IsWindow(m_dlg));
    EXPECT_NE(GetWindowThreadProcessId(m_dlg, nullptr), threadId);
}

TEST_F(ModelessMessage, ShowFillsTheDialogAndHidesAfterThreeSecondsWhichASecondShowDoesNotExtend)
{
    std::wstring longText(4000, L'w');
    ULONGLONG first = GetTickCount64();
    m_message->Show(L"First", longText.c_str());
    EXPECT_TRUE(Visible());
    EXPECT_EQ(TextOf(m_dlg), L"First");
    EXPECT_EQ(TextOf(GetDlgItem(m_dlg, IDC_MODELESS_MESSAGE_TEXT)), longText);
    PumpUntil([] { return false; }, 2000);
    ASSERT_TRUE(Visible());
    m_message->Show(L"Second", L"All 12 files were copied.");
    EXPECT_EQ(TextOf(m_dlg), L"Second");
    EXPECT_EQ(TextOf(GetDlgItem(m_dlg, IDC_MODELESS_MESSAGE_TEXT)), L"All 12 files were copied.");
    ASSERT_TRUE(HiddenSoon(8000)) << "hidden by its timer, not destroyed";
    // Extended, it would hide 3 s after the second Show, 5 s after the first.
    EXPECT_LT(GetTickCount64() - first, 4500u);
}

TEST_F(ModelessMessage, HidesOnAClickOkCancelAndClose)
{
    // A real click on the text: the plain static lets it through to the dialog.
    m_message->Show(L"Click me", L"Anywhere");
    RECT text = {};
    GetWindowRect(GetDlgItem(m_dlg, IDC_MODELESS_MESSAGE_TEXT), &text);
    SetForegroundWindow(m_dlg);
    SetCursorPos((text.left + text.right) / 2, (text.top + text.bottom) / 2);
    INPUT clicks[2] = {};
    clicks[0].type = clicks[1].type = INPUT_MOUSE;
    clicks[0].mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
    clicks[1].mi.dwFlags = MOUSEEVENTF_LEFTUP;
    ASSERT_EQ(SendInput(2, clicks, sizeof(INPUT)), 2u);
    EXPECT_TRUE(HiddenSoon(2000)) << "click";

    const std::pair<UINT, WPARAM> messages[] = { { WM_COMMAND, IDOK }, { WM_COMMAND, IDCANCEL }, { WM_CLOSE, 0 } };
    for (const auto& m : messages)
    {
        m_message->Show(L"Title", L"Text");
        ASSERT_TRUE(Visible());
        SendMessageW(m_dlg, m.first, m.second, 0);
        EXPECT_TRUE(HiddenSoon(2000)) << "message " << m.first << " " << m.second;
    }
}

TEST_F(ModelessMessage, EmptyTitleOrTextReportsString528AndShowsNothing)
{
    wchar_t expected[260] = {};
    ASSERT_GT(LoadStringW(CLocalize::Instance()->GethInstance(), IDS_MODELESS_MESSAGE_ARGS, expected, 260), 0);
    wchar_t first[] = L"earlier";
    CErrorMsg::Instance()->Output(77, nullptr, first, nullptr, true);
    SetWindowTextW(m_dlg, L"unchanged");
    size_t before = veskon_test::TraceLogText().size();
    m_message->Show(static_cast<const wchar_t*>(nullptr), L"text");
    m_message->Show(L"", L"text");
    m_message->Show(L"title", static_cast<const wchar_t*>(nullptr));
    m_message->Show(L"title", L"");
    std::string traced = veskon_test::TraceLogText().substr(before), want = veskon_test::Narrow(expected);
    int reports = 0;
    for (size_t at = traced.find(want); at != std::string::npos; at = traced.find(want, at + want.size()))
        ++reports;
    EXPECT_EQ(reports, 4);
    EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 0) << "reported through Error(0, text)";
    EXPECT_FALSE(Visible());
    EXPECT_EQ(TextOf(m_dlg), L"unchanged");
}

TEST_F(ModelessMessage, ShowIsDrawnWithItsText)
{
    m_message->Show(L"Pixels", std::wstring(48, L'W').c_str());
    SetWindowPos(m_dlg, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    PumpUntil([] { return false; }, 300);
    veskon_test::Pixels pixels = veskon_test::CaptureWindow(GetDlgItem(m_dlg, IDC_MODELESS_MESSAGE_TEXT));
    // The first line of the static holds dark glyph pixels on the light dialog face.
    int dark = 0;
    for (int y = 0; y < pixels.height && y < 16; ++y)
        for (int x = 0; x < pixels.width; ++x)
            dark += pixels.Red(x, y) < 100 && pixels.Green(x, y) < 100 && pixels.Blue(x, y) < 100;
    EXPECT_GT(dark, 50);
}
