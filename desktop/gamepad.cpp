// Polling SDL's game controllers and pressing the CPC joystick lines they hold.
#include "desktop/gamepad.h"

#include <SDL.h>
#include <fcntl.h>
#include <unistd.h>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <cstdlib>
#include <sstream>
#include <string>

#include "common/sound/psg.h"

namespace {

constexpr int kPollMilliseconds = 8;
constexpr int kStickDeadZone = 12000;  // of 32767
constexpr uint8_t kJoystickRows[2] = {9, 6};
constexpr uint8_t kUp = 0x01, kDown = 0x02, kLeft = 0x04, kRight = 0x08;
constexpr uint8_t kFire2 = 0x10, kFire1 = 0x20;

struct Pad {
    SDL_GameController* controller = nullptr;
    SDL_JoystickID id = -1;
    uint8_t held = 0;  // the joystick lines pressed on the CPC
};
Pad g_pads[2];

uint8_t LinesOf(SDL_GameController* pad) {
    auto button = [pad](SDL_GameControllerButton b) {
        return SDL_GameControllerGetButton(pad, b) != 0;
    };
    int x = SDL_GameControllerGetAxis(pad, SDL_CONTROLLER_AXIS_LEFTX);
    int y = SDL_GameControllerGetAxis(pad, SDL_CONTROLLER_AXIS_LEFTY);
    uint8_t lines = 0;
    if (button(SDL_CONTROLLER_BUTTON_DPAD_UP) || y < -kStickDeadZone) lines |= kUp;
    if (button(SDL_CONTROLLER_BUTTON_DPAD_DOWN) || y > kStickDeadZone) lines |= kDown;
    if (button(SDL_CONTROLLER_BUTTON_DPAD_LEFT) || x < -kStickDeadZone) lines |= kLeft;
    if (button(SDL_CONTROLLER_BUTTON_DPAD_RIGHT) || x > kStickDeadZone) lines |= kRight;
    if (button(SDL_CONTROLLER_BUTTON_A) || button(SDL_CONTROLLER_BUTTON_X)) lines |= kFire1;
    if (button(SDL_CONTROLLER_BUTTON_B) || button(SDL_CONTROLLER_BUTTON_Y)) lines |= kFire2;
    return lines;
}

void Hold(int slot, uint8_t lines) {
    Pad& pad = g_pads[slot];
    for (uint8_t bit = 1; bit != 0x40; bit <<= 1)
        if ((pad.held ^ lines) & bit)
            PSG_EnqueueKey(kJoystickRows[slot], bit, (lines & bit) ? 1 : 0);
    pad.held = lines;
}

void Added(int deviceIndex) {
    if (!SDL_IsGameController(deviceIndex)) return;
    for (Pad& pad : g_pads) {
        if (pad.controller) continue;
        pad.controller = SDL_GameControllerOpen(deviceIndex);
        if (pad.controller)
            pad.id = SDL_JoystickInstanceID(SDL_GameControllerGetJoystick(pad.controller));
        return;
    }
}

void Removed(SDL_JoystickID id) {
    for (int slot = 0; slot < 2; ++slot) {
        Pad& pad = g_pads[slot];
        if (!pad.controller || pad.id != id) continue;
        Hold(slot, 0);
        SDL_GameControllerClose(pad.controller);
        pad = Pad{};
    }
}

void Poll() {
    SDL_Event event;
    while (SDL_PollEvent(&event)) {
        if (event.type == SDL_CONTROLLERDEVICEADDED) Added(event.cdevice.which);
        if (event.type == SDL_CONTROLLERDEVICEREMOVED) Removed(event.cdevice.which);
    }
    for (int slot = 0; slot < 2; ++slot)
        if (g_pads[slot].controller) Hold(slot, LinesOf(g_pads[slot].controller));
}

// The virtual pad's lines from the pipe; opened for reading and writing so that a writer
// closing it never ends the stream.
void StartScriptedPad(QObject* parent, const char* fifo) {
    int index = SDL_JoystickAttachVirtual(SDL_JOYSTICK_TYPE_GAMECONTROLLER, SDL_CONTROLLER_AXIS_MAX,
                                          SDL_CONTROLLER_BUTTON_MAX, 0);
    SDL_Joystick* joystick = index >= 0 ? SDL_JoystickOpen(index) : nullptr;
    int fd = joystick ? open(fifo, O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
    if (fd < 0) return;
    auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, parent);
    auto* pending = new std::string;
    QObject::connect(notifier, &QObject::destroyed, [fd, pending] {
        close(fd);
        delete pending;
    });
    QObject::connect(notifier, &QSocketNotifier::activated, [fd, joystick, pending] {
        char buffer[256];
        ssize_t count = read(fd, buffer, sizeof buffer);
        if (count > 0) pending->append(buffer, static_cast<size_t>(count));
        for (size_t end; (end = pending->find('\n')) != std::string::npos;) {
            std::istringstream line(pending->substr(0, end));
            pending->erase(0, end + 1);
            std::string what;
            int number = 0, value = 0;
            if (!(line >> what >> number >> value)) continue;
            if (what == "button") SDL_JoystickSetVirtualButton(joystick, number, value ? 1 : 0);
            if (what == "axis")
                SDL_JoystickSetVirtualAxis(joystick, number, static_cast<Sint16>(value));
        }
    });
}

}  // namespace

void Gamepad_Start(QObject* parent) {
    SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");                // SIGTERM still ends the program
    if (SDL_InitSubSystem(SDL_INIT_GAMECONTROLLER) != 0) return;  // no pads: the keyboard stays
    if (const char* fifo = std::getenv("BRALLIVANE_SCRIPTED_GAMEPAD"))
        StartScriptedPad(parent, fifo);
    auto* timer = new QTimer(parent);
    QObject::connect(timer, &QTimer::timeout, Poll);
    timer->start(kPollMilliseconds);
}
