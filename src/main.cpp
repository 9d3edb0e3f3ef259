#include <windows.h>

#include "application.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR command_line, int show_state) {
    return harbinet::RunApplication(instance, command_line, show_state);
}
