// Register writes into sound parameters and their traces, the stops of the I/O port
// registers, reset and the speed correction, played from psg_registers.txt. The keyboard
// read through register 14 is checked through the PPI in the machine tests.
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "common/sound/psg_sound_state.h"
#include "psg_test_support.h"

namespace {

using PsgRegisters = PsgTest;

// A sound parameter read into, and written from, a long.
struct Parameter {
    std::function<long()> read;
    std::function<void(long)> write;
};
template <typename T>
Parameter Bind(T& field) {
    return {[&field] { return static_cast<long>(+field); },
            [&field](long value) { field = static_cast<decltype(+field)>(value); }};
}

std::string Trimmed(std::string text) {
    return text.erase(text.find_last_not_of(' ') + 1);
}

}  // namespace

TEST_F(PsgRegisters, WritesSetTheSoundParameters) {
    PSG_SoundState& s = g_PsgSound;
    std::map<std::string, Parameter> parameters = {{"noisePeriod", Bind(s.noisePeriod)},
                                                   {"noiseFrequency", Bind(s.noiseFrequency)},
                                                   {"envelopeStep", Bind(s.envelopeStep)},
                                                   {"envelopeLevel", Bind(s.envelopeLevel)},
                                                   {"envelopePeriod", Bind(s.envelopePeriod)},
                                                   {"envelopeTime", Bind(s.envelopeTime)},
                                                   {"ringWrite", Bind(s.ringWrite)},
                                                   {"stop", Bind(processor_.stopReason)},
                                                   {"time", Bind(processor_.time)},
                                                   {"correction", Bind(s.speedCorrection)},
                                                   {"correctionSum", Bind(s.correctionSum)},
                                                   {"correctionCount", Bind(s.correctionCount)}};
    for (int i = 0; i < PSG_CHANNELS; ++i) {
        PSG_Channel& ch = s.channels[i];
        const std::string n = std::to_string(i);
        parameters["halfPeriod" + n] = Bind(ch.halfPeriod);
        parameters["frequency" + n] = Bind(ch.frequency);
        parameters["amplitude" + n] = Bind(ch.amplitude);
        parameters["tone" + n] = Bind(ch.toneEnabled);
        parameters["noise" + n] = Bind(ch.noiseEnabled);
        parameters["envelopeMode" + n] = Bind(ch.envelopeMode);
    }
    for (int r = 0; r < 16; ++r)
        parameters["R" + std::to_string(r)] = Bind(g_Machine.psg.registers[r]);

    std::ifstream file(UNIT_TEST_DIR "/psg_registers.txt");
    ASSERT_TRUE(file);
    Records expected;
    std::string line, last;
    auto compareTraces = [&] {
        Records records = Traces();
        for (std::string& record : records) record = Trimmed(record);
        if (!expected.empty()) {
            EXPECT_EQ(records, expected) << "after " << last;
        }
        expected.clear();
    };
    for (int number = 1; std::getline(file, line); ++number) {
        SCOPED_TRACE("psg_registers.txt:" + std::to_string(number));
        std::istringstream fields(line);
        std::string word, name;
        fields >> word;
        long value = 0;
        if (word.empty() || word[0] == '#') continue;
        if (word == "trace") {
            expected.push_back(Trimmed(line.substr(line.find("trace") + 6)));
        } else if (word == "write" || word == "out") {
            compareTraces();
            last = line;
            int reg = 0, byte = 0;
            fields >> std::hex >> reg >> byte;
            if (word == "write")
                WriteRegister(static_cast<uint8_t>(reg), static_cast<uint8_t>(byte));
            else
                PSG_out(static_cast<uint8_t>(reg), static_cast<uint8_t>(byte));
        } else if (word == "expect" || word == "set") {
            while (fields >> name >> value) {
                ASSERT_TRUE(parameters.count(name)) << name;
                if (word == "set")
                    parameters[name].write(value);
                else
                    EXPECT_EQ(parameters[name].read(), value) << name;
            }
        } else if (word == "master") {
            fields >> value;
            PSG_SetMasterVolume(static_cast<uint8_t>(value));
        } else if (word == "fastest") {
            g_Machine.Type |= CPC_TYPE_THREAD_SOUND;
            PSG_Init();
        } else if (word == "adjust") {
            while (fields >> value) Emul_AdjustSpeed(static_cast<int16_t>(value));
        } else if (word == "reset") {
            PSG_Reset();
        } else if (word == "noprocessor") {
            g_Machine.processor = nullptr;
        } else {
            ADD_FAILURE() << "no such step: " << line;
        }
    }
    compareTraces();
}
