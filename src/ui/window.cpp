#include "ui/window.h"

#include <exception>
#include <new>

#include "app/ascii.h"
#include "app/ui_thread.h"

namespace harbinet {

Window::~Window() {
    // The window may outlive its object at the end of the process.
    if (const HWND handle = handle_) SetWindowLongPtrW(handle, GWLP_USERDATA, 0);
}

bool Window::RegisterWindowClass(HINSTANCE instance, const wchar_t* name, HICON icon) {
    AssertUiThread();
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = Procedure;
    window_class.hInstance = instance;
    window_class.hIcon = icon;
    window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    window_class.hbrBackground = reinterpret_cast<HBRUSH>(static_cast<ULONG_PTR>(COLOR_WINDOW + 1));
    window_class.lpszClassName = name;
    return RegisterClassW(&window_class) != 0;
}

bool Window::CreateHandle(HINSTANCE instance, const WindowPlan& plan) {
    AssertUiThread();
    return CreateWindowExW(0, plan.class_name, plan.title, plan.style, CW_USEDEFAULT, CW_USEDEFAULT,
                           plan.width, plan.height, nullptr, nullptr, instance, this) != nullptr;
}

LRESULT Window::DefaultResult(UINT message, WPARAM wparam, LPARAM lparam) const {
    return DefWindowProcW(handle_, message, wparam, lparam);
}

LRESULT CALLBACK Window::Procedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lparam);
        auto* created = static_cast<Window*>(create->lpCreateParams);
        created->handle_ = handle;
        SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created));
    }
    auto* window = reinterpret_cast<Window*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
    if (!window) return DefWindowProcW(handle, message, wparam, lparam);
    const LRESULT result = window->Dispatch(message, wparam, lparam);
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(handle, GWLP_USERDATA, 0);
        window->handle_ = nullptr;
    }
    return result;
}

void Window::LogFailure(const char* reason) const noexcept {
    try {
        log_.Log(L"ERROR   window: " + WidenAscii(reason));
    } catch (const std::bad_alloc&) {
        // Without memory for the line there is none.
    }
}

LRESULT Window::Dispatch(UINT message, WPARAM wparam, LPARAM lparam) {
    AssertUiThread();
    try {
        return OnMessage(message, wparam, lparam);
    } catch (const std::exception& failure) {
        LogFailure(failure.what());
    }
    // -1 lets the creation fail; any other message counts as handled.
    return message == WM_CREATE ? -1 : 0;
}

}  // namespace harbinet
