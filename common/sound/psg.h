#pragma once
// AY-3-8912 registers, the keyboard matrix and the key queue.
#include <atomic>
#include <cstdint>

constexpr int PSG_KEY_QUEUE_SLOTS = 32;          // holds at most 31 events
constexpr int PSG_KEYBOARD_ROWS = 10;            // rows that carry keys; 10-15 always read 0xFF
constexpr uint32_t PSG_KEY_FEED_PERIOD = 20000;  // microseconds between two key feeds

// Key queue slot byte 0: row in bits 0-3, this bit set for a press.
constexpr uint8_t PSG_KEY_PRESSED_BIT = 0x80;

// What the key translator did to the CPC SHIFT key for the symbol key now held.
constexpr uint8_t PSG_SHIFT_OVERRIDE_NONE = 0;
constexpr uint8_t PSG_SHIFT_OVERRIDE_DOWN = 1;
constexpr uint8_t PSG_SHIFT_OVERRIDE_UP = 2;
constexpr uint8_t PSG_NO_SYMBOL_ROW = 0xFF;

// Lives in the machine record, which machine start-up clears to zero before PSG_Init.
struct PSG_State {
    uint8_t registers[16];
    uint8_t selectedRegister;
    uint8_t keyboardMatrix[16];  // active low, one byte per row

    // Key queue: the user-interface thread is its only writer, the emulation thread its
    // only reader. A slot is filled before the write index moves past it and taken
    // before the read index does.
    uint8_t keyQueue[PSG_KEY_QUEUE_SLOTS][2];
    std::atomic<uint8_t> keyQueueRead;
    std::atomic<uint8_t> keyQueueWrite;

    // Key feed, emulation thread only.
    uint32_t feedCountdown;                         // microseconds to the next feed
    uint8_t releasedThisFeed[PSG_KEYBOARD_ROWS];    // bits released in the current feed
    uint8_t notPressedThisFeed[PSG_KEYBOARD_ROWS];  // bits not pressed in the current feed
    // Bits changed by the feed that fewer than two reads of their row have seen: the key's
    // next event waits for them, so that a short press is never lost and two presses are
    // seen as two (the firmware misses a key that is up for one keyboard scan only).
    uint8_t unreadChanges[PSG_KEYBOARD_ROWS];    // read by no scan yet
    uint8_t readOnceChanges[PSG_KEYBOARD_ROWS];  // read by one scan
    uint8_t feedsWaitingForRead;                 // gives up on a row the program never reads

    // Key translator, used by the user-interface thread; the emulation thread clears it
    // at machine start and reset.
    std::atomic<uint8_t> shiftHeld;
    std::atomic<uint8_t> shiftOverride;  // PSG_SHIFT_OVERRIDE_*
    std::atomic<uint8_t> lastSymbolRow;  // PSG_NO_SYMBOL_ROW for none
    std::atomic<uint8_t> lastSymbolMask;
};

void PSG_Init();
void PSG_Reset();
// Bus operations the PPI performs.
void PSG_Select(uint8_t data);
void PSG_Write(uint8_t data);
uint8_t PSG_Read(uint8_t portC);
void PSG_out(uint8_t reg, uint8_t value);
void PSG_Update(uint8_t microseconds);
// How many microseconds PSG_Update may be handed, in one call or in many, with nothing to
// do but count them: no key feed, no sound event, no frame.
uint32_t PSG_QuietTime();
void PSG_RestartEnvelope();
// Master level 0-15 (low four bits used): 15 the full volume table, 0 silence.
void PSG_SetMasterVolume(uint8_t level);

// CPC key codes, the set PSG_KeyEvent takes. Printable characters are their own codes:
// SPACE is 0x20, the letter keys are the upper-case letters 'A' to 'Z' (pressed as they
// are, without touching SHIFT), and the digits and symbols of the CPC keyboard are their
// ASCII characters ('!', ';', '@', ...) plus 0xA3 for the pound sign; for those the
// translator presses or releases the CPC SHIFT as the character needs. Lower-case letters
// and codes outside this set are ignored.
constexpr uint8_t PSG_KEY_NONE = 0x00;
constexpr uint8_t PSG_KEY_SPACE = 0x20;
constexpr uint8_t PSG_KEY_ESC = 0x80;
constexpr uint8_t PSG_KEY_TAB = 0x81;
constexpr uint8_t PSG_KEY_SHIFT = 0x83;
constexpr uint8_t PSG_KEY_CLR = 0x84;
constexpr uint8_t PSG_KEY_CONTROL = 0x85;
constexpr uint8_t PSG_KEY_RETURN = 0x86;
constexpr uint8_t PSG_KEY_DEL = 0x87;
constexpr uint8_t PSG_KEY_COPY = 0x88;
constexpr uint8_t PSG_KEY_CURSOR_UP = 0x89;
constexpr uint8_t PSG_KEY_CURSOR_DOWN = 0x8A;
constexpr uint8_t PSG_KEY_CURSOR_LEFT = 0x8B;
constexpr uint8_t PSG_KEY_CURSOR_RIGHT = 0x8C;
constexpr uint8_t PSG_KEY_F0 = 0x8D;     // F0 to F9 are PSG_KEY_F0 + n
constexpr uint8_t PSG_KEY_ENTER = 0x97;  // the small ENTER key
constexpr uint8_t PSG_KEY_JOY_LEFT = 0x99;
constexpr uint8_t PSG_KEY_JOY_RIGHT = 0x9A;
constexpr uint8_t PSG_KEY_JOY_UP = 0x9B;
constexpr uint8_t PSG_KEY_JOY_DOWN = 0x9C;
constexpr uint8_t PSG_KEY_JOY_FIRE1 = 0x9D;
constexpr uint8_t PSG_KEY_JOY_FIRE2 = 0x9E;
constexpr uint8_t PSG_KEY_POUND = 0xA3;

// One press or release of a CPC key code; user-interface thread.
void PSG_KeyEvent(uint8_t keyCode, uint8_t pressed);
// One matrix event into the key queue; dropped with a trace when the queue is full.
void PSG_EnqueueKey(uint8_t row, uint8_t mask, uint8_t pressed);
// The same without the drop: false when the queue is full.
bool PSG_TryEnqueueKey(uint8_t row, uint8_t mask, uint8_t pressed);
// Where PSG_KeyEvent sends its matrix events (user-interface thread); nullptr for
// PSG_EnqueueKey. A front end that must not lose keys keeps what does not fit.
using PSG_KeySender = void (*)(uint8_t row, uint8_t mask, uint8_t pressed);
void PSG_SetKeySender(PSG_KeySender sender);
// Moves queued events into the matrix once every PSG_KEY_FEED_PERIOD microseconds.
void PSG_ProcessKeyQueue(uint8_t microseconds);

// Typing text, for front ends without a host keyboard (the headless runner). The key code
// that types the character c, or PSG_KEY_NONE: letters of either case give their letter
// key, with *withShift = 1 for upper case (hold PSG_KEY_SHIFT around it); '\n' and '\r'
// give RETURN, '\t' TAB, 0x1B ESC, '\b' and 0x7F DEL; other characters are their own
// codes when the CPC has a key for them (their SHIFT is handled by PSG_KeyEvent).
uint8_t PSG_KeyCodeForChar(uint8_t c, uint8_t* withShift);
// Presses (pressed = 1) or releases the keys that type c, SHIFT included; false when c has
// no key. Press and release may be queued at once: the feed keeps them a period apart.
bool PSG_CharEvent(uint8_t c, uint8_t pressed);
// Events waiting in the key queue; a typing loop waits for 0 (or for room) between keys.
uint8_t PSG_KeyQueueCount();
bool PSG_KeyQueueEmpty();

// Sound output, called by the audio side for each buffer: the thread-driven engine fills
// a block of up to 4096 bytes, the time-driven one hands over what its sample ring holds.
// Returns the bytes written. Safe on the one audio thread while the machine runs.
uint32_t PSG_FillBuffer(uint8_t* buffer, uint32_t size);
// While muted neither engine produces samples.
void PSG_Mute();
void PSG_Unmute();

// Speed correction of the sample ring; 32767 resets it.
void Emul_AdjustSpeed(int16_t delta);

// Status indicators of the sample ring.
constexpr uint8_t PSG_INDICATOR_RING_HIGH = 1;   // high when the audio side asked
constexpr uint8_t PSG_INDICATOR_RING_FULL = 2;   // full when the emulation produced
constexpr uint8_t PSG_INDICATOR_RING_LOW = 3;    // low when the audio side asked
constexpr uint8_t PSG_INDICATOR_RING_EMPTY = 4;  // empty when the audio side asked
// Raises the buffer-high (1, 2) or buffer-low (3, 4) indicator; other codes are ignored.
void Emul_SetBufferIndicator(uint8_t code);
