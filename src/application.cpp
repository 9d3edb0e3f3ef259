#include "application.h"

#include <commctrl.h>
#include <objbase.h>

#include <cstdlib>
#include <cwchar>
#include <memory>
#include <optional>
#include <utility>

#include "app/ascii.h"
#include "app/encoding.h"
#include "app/master_pin.h"
#include "app/memory_reserve.h"
#include "app/paths_win.h"
#include "app/random.h"
#include "app/settings_win.h"
#include "app/ui_thread.h"
#include "app/unique_handle_win.h"
#include "app/web_root.h"
#include "auth/ban_table.h"
#include "auth/credentials.h"
#include "auth/login.h"
#include "files/shares/share_service.h"
#include "http/connection_win.h"
#include "net/address_query_win.h"
#include "net/addresses.h"
#include "net/certificate.h"
#include "net/openssl_heap_win.h"
#include "net/server_win.h"
#include "net/tls_context.h"
#include "routes.h"
#include "ui/desktop_services.h"
#include "ui/drive_mapping.h"
#include "ui/main_window.h"

namespace harbinet {
namespace {

Addresses::Source SystemAddresses() {
    return {[] { return QueryIpv4Routes(); }, [] { return QueryAdapters(AdapterFamilies::kIpv4); },
            [] { return QueryAdapters(AdapterFamilies::kBoth); }};
}

// Names the box that closes itself. Windows has it, but no header declares it.
using MessageBoxTimeoutFunction = int(WINAPI*)(HWND, LPCWSTR, LPCWSTR, UINT, WORD, DWORD);

void ShowAlreadyRunning() {
    const HMODULE user32 = GetModuleHandleW(L"user32.dll");
    if (!user32) return;
    const auto message_box = reinterpret_cast<MessageBoxTimeoutFunction>(
        reinterpret_cast<void*>(GetProcAddress(user32, "MessageBoxTimeoutW")));
    if (!message_box) return;
    constexpr DWORD kTimeoutMilliseconds = 3000;
    message_box(nullptr,
                L"The application HTTP(S) Harbinet PRO is already running.\r\n\r\n"
                L"Please close one of the applications.\r\n",
                L"HTTPS Harbinet", MB_ICONINFORMATION, 0, kTimeoutMilliseconds);
}

// Owned until the process ends: a second copy stays refused for the whole life of the first.
struct SingleInstance {
    HANDLE mutex;
    bool is_first;
};

SingleInstance EnterSingleInstance() {
    SetLastError(ERROR_SUCCESS);
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, L"Global\\HTTPSHarbinet_SingleInstance");
    const DWORD error = GetLastError();
    // A copy that runs elevated, or as another user, has a mutex that this one may not open.
    const bool is_closed_to_us = !mutex && error == ERROR_ACCESS_DENIED;
    return {mutex, error != ERROR_ALREADY_EXISTS && !is_closed_to_us};
}

// `format` holds one %lu for the error code.
void ShowStartFailure(const wchar_t* format, DWORD error) {
    wchar_t text[128];
    std::swprintf(text, std::size(text), format, error);
    MessageBoxW(nullptr, text, L"Debug", MB_ICONERROR);
}

// Owns everything. Connection threads use much of it and may outlive the message loop, so the
// object is made once and never destroyed; only the server is ended by hand.
class Application {
public:
    Application(HINSTANCE instance, HANDLE single_instance_mutex);
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    void Run(const wchar_t* command_line, int show_state);

private:
    Server::Callbacks ServerCallbacks();
    void PreparePaths();
    void PrepareMasterPin();
    void LogStart(const CertificateFiles& files);
    void LogAutomaticAddress();
    bool CreateMainWindow();
    void ShowMainWindow(const wchar_t* command_line, int show_state);
    static void RunMessageLoop();
    static void EndProcess();

    const HINSTANCE instance_;
    std::wstring base_folder_;

    EventLog log_;
    WebRoot web_root_;
    Credentials credentials_{SystemRandom()};
    BanTable bans_;
    ShareTable shares_{SystemRandom()};
    LoginService login_{credentials_, bans_, log_};
    Addresses addresses_{SystemAddresses()};
    TlsContext tls_context_{log_};
    ServerState server_state_;
    const RouteServices route_services_{
        .files = {{SystemFiles(), web_root_, log_}, shares_},
        .login = login_,
        .credentials = credentials_,
        .status = [this] {
            return ServerStatus{server_state_.is_running, server_state_.listening_port};
        }};
    const RouteTable routes_ = BuildRoutes(route_services_);

    std::optional<Server> server_;
    DriveMapping drive_{log_, web_root_, SystemDrives()};
    DesktopServices desktop_services_;
    MainWindow main_window_;
};

Application::Application(HINSTANCE instance, HANDLE single_instance_mutex)
    : instance_(instance),
      server_(std::in_place, log_, server_state_, ServerCallbacks()),
      desktop_services_{log_, web_root_, credentials_, shares_, addresses_, tls_context_, *server_},
      main_window_(desktop_services_, drive_, instance, single_instance_mutex) {}

Server::Callbacks Application::ServerCallbacks() {
    return {
        .ensure_tls =
            [this] {
                const CertificateFiles files = CertificateFilesIn(BaseDataFolder());
                return tls_context_.Ensure(
                    {WideToAnsi(files.certificate.wstring()), WideToAnsi(files.key.wstring())});
            },
        .handle_connection =
            [this](std::shared_ptr<Socket> socket, const sockaddr_storage& peer) {
                HandleConnection(std::move(socket), peer, tls_context_, routes_, log_);
            },
        .state_changed = [this] { main_window_.PostRefreshStatus(); },
    };
}

void Application::PreparePaths() {
    base_folder_ = BaseDataFolderIn(LocalAppDataFolder());
    web_root_.Set(ReadSetting(kWebRootSetting).value_or(DefaultWebRoot(base_folder_)));
    EnsureFolder(base_folder_);
    EnsureFolder(web_root_.Get());
}

void Application::PrepareMasterPin() {
    std::optional<std::string> stored;
    if (const auto setting = ReadSetting(kMasterPinSetting)) stored = WideToUtf8(*setting);
    const LoadedMasterPin loaded = LoadMasterPin(stored, SystemRandom());
    credentials_.SetMasterPin(loaded.pin);
    if (loaded.must_store) WriteSetting(kMasterPinSetting, Utf8ToWide(loaded.pin));
    log_.Log(L"AUTH    Master PIN loaded (6 digits)");
}

void Application::LogStart(const CertificateFiles& files) {
    log_.Log(L"APP     start");
    log_.Log(L"PATH    base=" + base_folder_);
    log_.Log(L"PATH    files=" + web_root_.Get());
    log_.Log(L"AUTH    PIN=" + WidenAscii(credentials_.CurrentPin()));
    log_.Log(L"SHARE   secret initialized (links valid until app restart)");
    log_.Log(L"TLS     cert=" + files.certificate.wstring());
    log_.Log(L"TLS     key =" + files.key.wstring());
}

void Application::LogAutomaticAddress() {
    const std::wstring address = addresses_.AutomaticAddress();
    if (!address.empty()) log_.Log(L"NET     cached-ip=" + address);
}

bool Application::CreateMainWindow() {
    const INITCOMMONCONTROLSEX controls{sizeof controls, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
    InitCommonControlsEx(&controls);
    if (!RegisterMainWindowClass(instance_)) {
        ShowStartFailure(L"RegisterClassW failed. GetLastError=%lu", GetLastError());
        return false;
    }
    if (!main_window_.Create()) {
        ShowStartFailure(L"CreateWindowW failed. GetLastError=%lu", GetLastError());
        return false;
    }
    return true;
}

void Application::ShowMainWindow(const wchar_t* command_line, int show_state) {
    const HWND window = main_window_.Handle();
    // Anywhere in the line counts, also inside a longer argument: arguments are not parsed.
    if (command_line && std::wcsstr(command_line, L"--autostart")) {
        main_window_.AddTrayIcon();
        ShowWindow(window, SW_HIDE);
        return;
    }
    ShowWindow(window, show_state);
    UpdateWindow(window);
}

void Application::RunMessageLoop() {
    MSG message;
    // Only the quit message ends the loop; an error (-1) does not.
    while (const BOOL result = GetMessageW(&message, nullptr, 0, 0)) {
        if (result == -1) continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

// Connections that need longer than the cut gave them (an archive in the making, a slow disk) end
// here. Returning would do that, too, but would stop their threads wherever they are and then run
// the clean-up of the C runtime and of every DLL, which may wait for a lock that one of them held.
void Application::EndProcess() { TerminateProcess(GetCurrentProcess(), 0); }

void Application::Run(const wchar_t* command_line, int show_state) {
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    PreparePaths();
    credentials_.Reset();
    PrepareMasterPin();
    shares_.Reset();
    const CertificateFiles certificate_files = CertificateFilesIn(BaseDataFolder());
    LogStart(certificate_files);
    // Twice in a row, so the line is normally there twice. That is meant.
    LogAutomaticAddress();
    LogAutomaticAddress();
    const std::string address = WideToUtf8(addresses_.CertificateAddress());
    if (!EnsureCertificate(certificate_files, address, log_)) {
        MessageBoxW(nullptr, L"TLS certificate generation failed.", L"Harbinet PRO", MB_ICONERROR);
        return;
    }
    drive_.Mount();
    if (!CreateMainWindow()) return;
    ShowMainWindow(command_line, show_state);

    RunMessageLoop();

    server_->Stop();
    tls_context_.Free();
    drive_.Unmount();
    log_.Log(L"APP     exit");
    server_->CutConnections();
    // A server thread that failed to start was never joined: ending the server then ends the
    // process abnormally.
    server_.reset();
    if (SUCCEEDED(com)) CoUninitialize();
    EndProcess();
}

}  // namespace

int RunApplication(HINSTANCE instance, const wchar_t* command_line, int show_state) {
    AssertUiThread();
    // An abnormal end is told by its exit code: the C library would first show a message, and wait
    // for somebody to close it.
    _set_error_mode(_OUT_TO_STDERR);
    PrepareThreadForExceptions();
    KeepMemoryReserve();
    GiveOpenSslItsOwnHeap();
    const SingleInstance single_instance = EnterSingleInstance();
    if (!single_instance.is_first) {
        ShowAlreadyRunning();
        return 0;
    }
    Application& application =
        *std::make_unique<Application>(instance, single_instance.mutex).release();
    application.Run(command_line, show_state);
    return 0;
}

}  // namespace harbinet
