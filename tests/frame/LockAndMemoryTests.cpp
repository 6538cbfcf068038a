#include <gtest/gtest.h>
#include "support/TestSupport.h"
#include "frame/CriticalSectionEx.h"
#include "frame/MemoryManager.h"
#include <atomic>
#include <thread>

using namespace veskon_test;

TEST(CCriticalSectionEx, CountsEntriesAndIgnoresExtraLeaves)
{
    CCriticalSectionEx lock;
    EXPECT_EQ(1, lock.Enter(L"a"));
    EXPECT_EQ(2, lock.Enter(nullptr));
    EXPECT_EQ(1, lock.Leave());
    EXPECT_EQ(0, lock.Leave());
    EXPECT_EQ(0, lock.Leave()) << "nothing held: the count stays and nothing is left";
    // Still usable by another thread afterwards (an unbalanced leave would have corrupted it).
    std::thread other([&] {
        EXPECT_EQ(1, lock.Enter(L"other"));
        lock.Leave();
    });
    other.join();
}

namespace
{
CCriticalSectionEx* g_heldLock = nullptr;
bool g_handlerLeft = false;

LRESULT CALLBACK LeavingProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if (msg == WM_APP && g_heldLock)
    {
        g_heldLock->Leave();
        g_handlerLeft = true;
        return 0;
    }
    return DefWindowProcW(hwnd, msg, wParam, lParam);
}
}

TEST(CCriticalSectionEx, AwaitWaitsForTheSameThreadsHoldingToBeLeftFromThePump)
{
    WNDCLASSW wc = {};
    wc.lpfnWndProc = LeavingProc;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"VeskonAwaitTest";
    RegisterClassW(&wc);
    HWND hwnd = CreateWindowW(L"VeskonAwaitTest", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, wc.hInstance, nullptr);
    ASSERT_NE(nullptr, hwnd);

    CCriticalSectionEx lock;
    g_heldLock = &lock;
    g_handlerLeft = false;
    ASSERT_EQ(1, lock.Enter(L"held"));
    PostMessageW(hwnd, WM_APP, 0, 0);
    lock.Await(); // returns only once the handler, run by Await's pump, has left the first holding
    EXPECT_TRUE(g_handlerLeft);
    EXPECT_EQ(0, lock.Leave()) << "Await returns with the section entered exactly once";

    g_heldLock = nullptr;
    DestroyWindow(hwnd);
    UnregisterClassW(L"VeskonAwaitTest", wc.hInstance);
}

TEST(CCriticalSectionEx, AwaitBlocksWhileAnotherThreadHolds)
{
    CCriticalSectionEx lock;
    std::atomic<int> stage{ 0 };
    lock.Enter(L"main");
    std::thread waiter([&] {
        stage = 1;
        lock.Await();
        stage = 2;
        lock.Leave();
    });
    PumpUntil([&] { return stage.load() == 1; }, 5000);
    Sleep(100);
    EXPECT_EQ(1, stage.load()) << "Await must not return while another thread holds the section";
    lock.Leave();
    waiter.join();
    EXPECT_EQ(2, stage.load());
}

TEST(CMemoryManager, RefusesNonPositiveSizesSilently)
{
    size_t before = TraceLogText().size();
    EXPECT_EQ(nullptr, CMemoryManager::Alloc(0));
    EXPECT_EQ(nullptr, CMemoryManager::Alloc(-1));
    EXPECT_EQ(before, TraceLogText().size()) << "no failure message for a refused size";
}

TEST(CMemoryManager, AllocZeroFills)
{
    unsigned char* block = static_cast<unsigned char*>(CMemoryManager::Alloc(4096));
    ASSERT_NE(nullptr, block);
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(0, block[i]) << "byte " << i;
    CMemoryManager::Free(block);
}

TEST(CMemoryManager, ReallocWithZeroSizeLeavesTheBlockAllocated)
{
    char* block = static_cast<char*>(CMemoryManager::Alloc(8));
    ASSERT_NE(nullptr, block);
    memcpy(block, "veskon!", 8);
    EXPECT_EQ(nullptr, CMemoryManager::Realloc(block, 0));
    EXPECT_EQ(nullptr, CMemoryManager::Realloc(nullptr, 16));
    EXPECT_STREQ("veskon!", block) << "the block is still ours and intact";
    char* grown = static_cast<char*>(CMemoryManager::Realloc(block, 1 << 20));
    ASSERT_NE(nullptr, grown);
    EXPECT_STREQ("veskon!", grown);
    CMemoryManager::FreePtr(reinterpret_cast<void**>(&grown));
    EXPECT_EQ(nullptr, grown);
    CMemoryManager::FreePtr(nullptr);
    CMemoryManager::Free(nullptr);
}

TEST(CMemoryManager, ExhaustionIsReportedWithTheSize)
{
    // More than any address space here can give: the failure is traced with the size asked for.
    const __int64 huge = 0x7FFFFFFFFFFF0000LL;
    EXPECT_EQ(nullptr, CMemoryManager::Alloc(huge));
    EXPECT_NE(std::string::npos, TraceLogText().find(std::to_string(huge)));

    char* block = static_cast<char*>(CMemoryManager::Alloc(16));
    ASSERT_NE(nullptr, block);
    block[0] = 'k';
    const __int64 huge2 = 0x7FFFFFFFFFFE0000LL;
    EXPECT_EQ(nullptr, CMemoryManager::Realloc(block, huge2));
    EXPECT_EQ('k', block[0]) << "the old block stays valid";
    EXPECT_NE(std::string::npos, TraceLogText().find(std::to_string(huge2)));
    CMemoryManager::Free(block);
}
