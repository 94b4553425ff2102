#pragma once
// What the status line below the picture shows: the speed, "PAUSE" or "STOP", the disks in the
// drives, the disk activity, the mouse position in CPC screen terms, the sound pacing
// indicators, the average speed correction and the joystick mode.
#include <cstdint>
#include <string>

constexpr int STATUS_HEIGHT = 20;
// A small proportional font, so that the widest speed figure ends before the mouse field.
constexpr int STATUS_FONT_PIXELS = 11;
// Field positions in client pixels; they do not scale with the zoom.
constexpr int STATUS_ICON_X = 4;
constexpr int STATUS_SPEED_X = 24;
constexpr int STATUS_MOUSE_X = 74;
constexpr int STATUS_DRIVE_A_X = 144;
constexpr int STATUS_DRIVE_B_X = 284;
constexpr int STATUS_FULL_BOX_X = 424;
constexpr int STATUS_EMPTY_BOX_X = 444;
constexpr int STATUS_BOX_WIDTH = 16;
constexpr int STATUS_CORRECTION_X = 468;
constexpr int STATUS_JOYSTICK_X = 520;
constexpr int STATUS_FIELD_GAP = 4;  // a clipped field ends this far before the next
constexpr const char* STATUS_STOPPED = "STOP";
constexpr const char* STATUS_JOYSTICK = "Joystick";
constexpr int STATUS_REMOTE_X = 580;

enum class StatusBox { Grey, Orange, Red };

struct StatusFields {
    std::string speed;
    bool drives;                 // the machine has a disk interface
    std::string driveA, driveB;  // empty when the drive holds no path
    bool activity;
    std::string mouse;
    StatusBox full, empty;
    std::string correction;
    bool joystick;  // F11's joystick mode is on
    std::string remote;  // "GDB PORT" while a remote debugger is attached
};

// The fields for the next paint of the status line. Starts a new measuring interval: the
// pacing indicators and the correction sum are taken and cleared.
StatusFields Win32_StatusFields(uint32_t zoom, uint32_t mouseX, uint32_t mouseY);
// One drive field, "A: [name]", the name without its folder; empty for no path.
std::string Win32_DrawDriveName(int drive, const std::string& path);
