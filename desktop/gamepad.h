#pragma once
// Gamepads through SDL's game controller interface: the first pad plugged in is the CPC's
// joystick 0, the second joystick 1 (direction pad or left stick; A and X fire 1, B and Y
// fire 2). Pads may come and go while the program runs. BRALLIVANE_SCRIPTED_GAMEPAD=FIFO
// adds a virtual pad driven by lines read from the named pipe ("button N 0|1",
// "axis N VALUE", SDL's numbering), for tests and demonstrations without hardware.
class QObject;

// Starts polling on the user-interface thread (the key queue's writer).
void Gamepad_Start(QObject* parent);
