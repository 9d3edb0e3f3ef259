#include "ui/main_window.h"

#include "app/administrator_win.h"
#include "app/ascii.h"
#include "app/encoding.h"
#include "app/paths_win.h"
#include "app/ui_thread.h"
#include "net/certificate.h"
#include "ui/address_box.h"
#include "ui/autostart.h"
#include "ui/main_painting.h"
#include "ui/qr_bitmap.h"
#include "ui/resource_ids.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kClassName = L"HTTPHarbinet_Main";

// Seen only until the first status refresh, which gives the window its lasting title.
constexpr const wchar_t* kFirstTitle = L"Harbinet PRO v1.6 - Harbinet 2026";

constexpr DWORD kStyle = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
constexpr int kWidth = 694;
constexpr int kHeight = 180;
constexpr int kHeightWithPanel = 520;

class PaintSession {
public:
    explicit PaintSession(HWND window) : window_(window), dc_(BeginPaint(window, &paint_)) {}
    ~PaintSession() { EndPaint(window_, &paint_); }
    PaintSession(const PaintSession&) = delete;
    PaintSession& operator=(const PaintSession&) = delete;

    HDC Dc() const { return dc_; }

private:
    const HWND window_;
    PAINTSTRUCT paint_ = {};
    const HDC dc_;
};

}  // namespace

bool RegisterMainWindowClass(HINSTANCE instance) {
    const auto icon = static_cast<HICON>(LoadImageW(instance, MAKEINTRESOURCEW(kApplicationIcon),
                                                    IMAGE_ICON, 32, 32, LR_DEFAULTCOLOR));
    return MainWindow::RegisterWindowClass(instance, kClassName, icon);
}

MainWindow::MainWindow(DesktopServices& services, DriveMapping& drive, HINSTANCE instance,
                       HANDLE instance_mutex)
    : Window(services.log),
      services_(services),
      drive_(drive),
      instance_(instance),
      taskbar_created_(RegisterWindowMessageW(L"TaskbarCreated")),
      log_window_(services.log, appearance_, instance, instance_mutex) {
    drive_.SetMountedCallback([this] { UpdateTrayTip(); });
}

MainWindow::~MainWindow() { drive_.SetMountedCallback({}); }

bool MainWindow::Create() {
    return CreateHandle(instance_, {kClassName, kFirstTitle, kStyle, kWidth, kHeight});
}

void MainWindow::PostRefreshStatus() const {
    if (const HWND window = Handle()) PostMessageW(window, WM_APP_REFRESH_STATUS, 0, 0);
}

LRESULT MainWindow::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
    switch (message) {
        case WM_CREATE:
            return OnCreate();
        case WM_COMMAND:
            return OnCommand(wparam, lparam);
        case WM_SIZE:
            return OnSize(wparam);
        case WM_PAINT:
            return OnPaint();
        case WM_CLOSE:
            Close();
            return 0;
        case WM_DESTROY:
            return OnDestroy();
        case WM_CTLCOLOREDIT:
        case WM_CTLCOLORSTATIC:
            return OnControlColour(reinterpret_cast<HDC>(wparam));
        case WM_APP_REFRESH_STATUS:
            RefreshStatus();
            return 0;
        case WM_APP_TRAYICON:
            return OnTrayIcon(LOWORD(lparam));
        case WM_TIMER:
            return OnTimer(wparam, lparam);
        default:
            return OnOther(message, wparam, lparam);
    }
}

LRESULT MainWindow::OnCreate() {
    appearance_ = MakeAppearance();
    // An elevated window would not hear Explorer, which has fewer rights.
    ChangeWindowMessageFilterEx(Handle(), taskbar_created_, MSGFLT_ALLOW, nullptr);
    controls_.Create(Handle(), instance_);
    FillAddressBox(controls_.Get(kAddressBox), services_.addresses.Ipv4Choices(),
                   AddressSelection::kAutomatic);
    SendMessageW(controls_.Get(kAutostartBox), BM_SETCHECK,
                 IsAutostartEnabled() ? BST_CHECKED : BST_UNCHECKED, 0);
    controls_.SetFont(appearance_.font.Get());
    panel_shown_ = false;
    controls_.Show(kStatusEdit, false);
    Layout();
    services_.server.Start();
    RefreshStatus();
    controls_.SetText(kMasterPinEdit, Utf8ToWide(services_.credentials.MasterPin()));
    return 0;
}

LRESULT MainWindow::OnSize(WPARAM size_type) {
    Layout();
    if (size_type == SIZE_MINIMIZED) {
        AddTrayIcon();
        ShowWindow(Handle(), SW_HIDE);
    }
    return 0;
}

LRESULT MainWindow::OnPaint() {
    const PaintSession session(Handle());
    PaintMainWindow(session.Dc(), services_.server.IsRunning(), qr_code_.Get());
    return 0;
}

LRESULT MainWindow::OnDestroy() {
    tray_icon_.Remove();
    qr_code_.Reset();
    appearance_ = {};
    PostQuitMessage(0);
    return 0;
}

LRESULT MainWindow::OnControlColour(HDC dc) const {
    SetBkColor(dc, RGB(255, 255, 255));
    SetTextColor(dc, RGB(0, 0, 0));
    return reinterpret_cast<LRESULT>(appearance_.white.Get());
}

LRESULT MainWindow::OnTrayIcon(UINT mouse_message) {
    switch (mouse_message) {
        case WM_LBUTTONUP:
            CopyUrlAndPin();
            break;
        case WM_LBUTTONDBLCLK:
            Restore();
            break;
        case WM_RBUTTONUP:
            ShowTrayMenu();
            break;
        default:
            break;
    }
    return 0;
}

LRESULT MainWindow::OnTimer(WPARAM timer, LPARAM lparam) {
    if (timer != kTrayTimer) return DefaultResult(WM_TIMER, timer, lparam);
    tray_icon_.TryAgain();
    return 0;
}

LRESULT MainWindow::OnOther(UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == taskbar_created_ && message != WM_NULL) tray_icon_.AddAgain();
    return DefaultResult(message, wparam, lparam);
}

void MainWindow::Layout() const {
    RECT client = {};
    GetClientRect(Handle(), &client);
    controls_.Layout(client.right, panel_shown_);
}

void MainWindow::ToggleStatusPanel() {
    RECT window = {};
    GetWindowRect(Handle(), &window);
    panel_shown_ = !panel_shown_;
    SetWindowPos(Handle(), nullptr, 0, 0, window.right - window.left,
                 panel_shown_ ? kHeightWithPanel : kHeight, SWP_NOMOVE | SWP_NOZORDER);
    controls_.Show(kStatusEdit, panel_shown_);
    Layout();
    RefreshStatus();
    controls_.Show(kAutostartBox, panel_shown_);
}

void MainWindow::RefreshStatus() {
    const StatusSnapshot status = ReadStatus();
    SetWindowTextW(Handle(), kMainWindowTitle);
    controls_.SetText(kWebRootLabel, status.web_root);
    controls_.SetText(kUrlLabel, UrlLabel(status));
    controls_.SetText(kPinLabel, PinLabel(status.pin));
    controls_.SetText(kDriveLabel, DriveLabel(status.drive));
    qr_code_ = MakeQrBitmap(
        AutoLoginLink(status.host, ShownPort(status.port, status.is_administrator), status.pin));
    controls_.SetText(kStatusEdit, BuildStatusText(status));
    InvalidateRect(Handle(), nullptr, TRUE);
    UpdateTrayTip();
}

StatusSnapshot MainWindow::ReadStatus() const {
    StatusSnapshot status;
    status.running = services_.server.IsRunning();
    status.port = services_.server.ListeningPort();
    status.is_administrator = IsAdmin();
    status.tls_loaded = services_.tls_context.IsLoaded();
    status.host = services_.addresses.HostForUrl();
    status.pin = WidenAscii(services_.credentials.CurrentPin());
    status.drive = drive_.Drive();
    status.web_root = services_.web_root.Get();
    const std::wstring base_folder = BaseDataFolder();
    const CertificateFiles certificate_files = CertificateFilesIn(base_folder);
    status.certificate_file = certificate_files.certificate.wstring();
    status.key_file = certificate_files.key.wstring();
    status.default_web_root = DefaultWebRoot(base_folder);
    status.address_lines = services_.addresses.AddressList();
    return status;
}

void MainWindow::AddTrayIcon() {
    AssertUiThread();
    if (tray_icon_.IsAdded()) return;
    tray_icon_.Add(Handle(), instance_);
    UpdateTrayTip();
}

void MainWindow::UpdateTrayTip() {
    if (!tray_icon_.IsAdded()) return;
    TrayTip tip;
    tip.running = services_.server.IsRunning();
    tip.port = services_.server.ListeningPort();
    tip.is_administrator = IsAdmin();
    tip.host = services_.addresses.CachedAutomaticAddress();
    tip.pin = WidenAscii(services_.credentials.CurrentPin());
    tip.drive = drive_.Drive();
    tray_icon_.SetTip(BuildTrayTip(tip));
}

}  // namespace harbinet
