#include <windows.h>

#include "PerThread.h"
#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "diagnostics/GraphicsDebugger.h"

namespace ZKL {
namespace {

constexpr unsigned kNothing = 0xFFFFFFFF;
constexpr wchar_t kWindowClass[] = L"ZelDebuggerChooser";
constexpr int kListId = 4666;
// Of the list, in pixels; the buttons of the box stay below it.
constexpr int kListWidth = 260;
constexpr int kRowHeight = 18;
constexpr int kMargin = 12;
constexpr UINT kLayOut = WM_APP + 1;

// One box at a time on a thread: the hook has no argument of its own.
struct Chooser {
    const std::vector<std::wstring>* names;
    HHOOK hook;
    HWND box;
    HWND list;
    WNDPROC boxProcedure;
    unsigned choice;
};
using CurrentChooser = PerThread<struct ChooserTag, Chooser*>;

void AddList(Chooser& chooser) {
    RECT client = {};
    GetClientRect(chooser.box, &client);
    const int height = static_cast<int>(chooser.names->size() + 1) * kRowHeight;
    chooser.list = CreateWindowExW(WS_EX_CLIENTEDGE, L"ListBox", nullptr,
                                   WS_CHILD | WS_VISIBLE | WS_VSCROLL | WS_TABSTOP | LBS_NOTIFY,
                                   kMargin, kMargin, kListWidth, height, chooser.box,
                                   reinterpret_cast<HMENU>(INT_PTR{kListId}),
                                   GetModuleHandleW(nullptr), nullptr);
    for (const std::wstring& name : *chooser.names) {
        SendMessageW(chooser.list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
    }
    SendMessageW(chooser.list, LB_SETCURSEL, 0, 0);
}

// The box has its final size by now: make it larger by the list, and move the buttons below it.
void LayOut(Chooser& chooser) {
    RECT box = {};
    RECT list = {};
    GetWindowRect(chooser.box, &box);
    GetWindowRect(chooser.list, &list);
    const int grow = list.bottom - list.top + kMargin;
    for (HWND child = GetWindow(chooser.box, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        if (child != chooser.list) {
            RECT place = {};
            GetWindowRect(child, &place);
            MapWindowPoints(nullptr, chooser.box, reinterpret_cast<POINT*>(&place), 2);
            SetWindowPos(child, nullptr, place.left, place.top + grow, 0, 0,
                         SWP_NOSIZE | SWP_NOZORDER);
        }
    }
    const int width = box.right - box.left;
    const int needed = kListWidth + 3 * kMargin;
    SetWindowPos(chooser.box, nullptr, 0, 0, width > needed ? width : needed,
                 box.bottom - box.top + grow, SWP_NOMOVE | SWP_NOZORDER);
}

LRESULT CALLBACK BoxProcedure(HWND box, UINT message, WPARAM word, LPARAM value) {
    Chooser& chooser = *CurrentChooser::Get();
    if (message == kLayOut) {
        LayOut(chooser);
        // The arrow keys choose, the return key is that of "Yes".
        SetFocus(chooser.list);
        SendMessageW(box, DM_SETDEFID, IDYES, 0);
        return 0;
    }
    if (message == WM_COMMAND && word == MAKEWPARAM(kListId, LBN_DBLCLK)) {
        PostMessageW(box, WM_COMMAND, IDYES, 0);
    } else if (message == WM_COMMAND && LOWORD(word) != kListId) {
        // A button ends the box: what is chosen must be read while the list is there.
        const LRESULT row = SendMessageW(chooser.list, LB_GETCURSEL, 0, 0);
        chooser.choice = row == LB_ERR ? kNothing : static_cast<unsigned>(row);
    }
    return CallWindowProcW(chooser.boxProcedure, box, message, word, value);
}

LRESULT CALLBACK Hook(int code, WPARAM word, LPARAM value) {
    Chooser& chooser = *CurrentChooser::Get();
    // The list that is made in here activates and creates windows of its own.
    if (code == HCBT_ACTIVATE && chooser.box == nullptr) {
        chooser.box = reinterpret_cast<HWND>(word);
        AddList(chooser);
        chooser.boxProcedure = reinterpret_cast<WNDPROC>(SetWindowLongPtrW(
            chooser.box, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&BoxProcedure)));
        PostMessageW(chooser.box, kLayOut, 0, 0);
    }
    return CallNextHookEx(chooser.hook, code, word, value);
}

void RegisterWindowClass() {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = &DefWindowProcW;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = kWindowClass;
    RegisterClassW(&windowClass);
}

}  // namespace

unsigned int DebuggerUI(const std::vector<std::wstring>& names) {
    const std::vector<std::wstring> copy = names;
    Chooser chooser = {&copy, nullptr, nullptr, nullptr, nullptr, kNothing};
    CurrentChooser::Set(&chooser);
    RegisterWindowClass();
    chooser.hook = SetWindowsHookExW(WH_CBT, &Hook, nullptr, GetCurrentThreadId());
    // Anything but "Yes", the dialog that could not be shown included, is a dismissal.
    const int button = MessageBoxW(GetActiveWindow(), L"", L"Select Your debugger", MB_YESNO);
    UnhookWindowsHookEx(chooser.hook);
    UnregisterClassW(kWindowClass, GetModuleHandleW(nullptr));
    CurrentChooser::Set(nullptr);
    return button == IDYES ? chooser.choice : kNothing;
}

const char* GraphicsDebuggerLibrary(GraphicsDebugger debugger) {
    return debugger == GraphicsDebugger::RenderDoc ? "renderdoc.dll" : "NGFX_Injection.dll";
}

}  // namespace ZKL
