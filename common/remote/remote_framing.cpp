// Packets of the remote protocol: "$payload#cs" with a two-digit checksum, acknowledged
// with "+" or "-", and the interrupt byte between packets.
#include "common/remote/remote.h"

namespace {

enum Phase : uint8_t { BETWEEN, PAYLOAD, CHECK_HIGH, CHECK_LOW };
constexpr uint8_t kInterrupt = 0x03;

int HexValue(uint8_t c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

constexpr char kHex[] = "0123456789abcdef";

}  // namespace

Rsp_Event Rsp_Feed(Rsp_Framer* f, uint8_t byte) {
    switch (f->phase) {
        case BETWEEN:
            if (byte == '$') {
                f->phase = PAYLOAD;
                f->sum = 0;
                f->length = 0;
                f->overflow = false;
                return RSP_NONE;
            }
            if (byte == kInterrupt) return RSP_INTERRUPT;
            if (byte == '+') return RSP_ACK;
            if (byte == '-') return RSP_NAK;
            return RSP_NONE;  // noise between packets
        case PAYLOAD:
            if (byte == '#') {
                f->phase = CHECK_HIGH;
                return RSP_NONE;
            }
            f->sum = static_cast<uint8_t>(f->sum + byte);
            if (f->length < RSP_PACKET_SIZE)
                f->packet[f->length++] = static_cast<char>(byte);
            else
                f->overflow = true;
            return RSP_NONE;
        case CHECK_HIGH: {
            const int high = HexValue(byte);
            if (high < 0) {
                f->phase = BETWEEN;
                return RSP_BAD_CHECKSUM;
            }
            f->check = static_cast<uint8_t>(high << 4);
            f->phase = CHECK_LOW;
            return RSP_NONE;
        }
        default: {
            f->phase = BETWEEN;
            f->packet[f->length] = '\0';
            if (HexValue(byte) < 0 || (f->check | HexValue(byte)) != f->sum)
                return RSP_BAD_CHECKSUM;
            return f->overflow ? RSP_TOO_LONG : RSP_PACKET;
        }
    }
}

size_t Rsp_Encode(const char* payload, size_t length, char* out) {
    uint8_t sum = 0;
    out[0] = '$';
    for (size_t i = 0; i < length; ++i) {
        out[1 + i] = payload[i];
        sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(payload[i]));
    }
    out[length + 1] = '#';
    out[length + 2] = kHex[sum >> 4];
    out[length + 3] = kHex[sum & 15];
    return length + 4;
}
