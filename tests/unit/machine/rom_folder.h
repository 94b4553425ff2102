#pragma once
// A temporary ROM folder for machine tests: writes ROM files whose pages are filled with
// a known byte, points the ROM loader at the folder, and removes it afterwards.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/host_services.h"
#include "common/machine/machine.h"

// Fill bytes of the synthetic images.
constexpr uint8_t kLowerFill = 0x11;
constexpr uint8_t kBasicFill = 0x22;
constexpr uint8_t kAmsdosFill = 0x77;

class RomFolderTest : public ::testing::Test {
   protected:
    void SetUp() override {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "brallivane-roms-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        PAL_SetRomDirectory(folder_.c_str());  // no trailing separator on purpose
    }
    void TearDown() override {
        CPC_Shutdown(&g_Machine);
        PAL_SetRomDirectory(nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    void WriteFile(const std::string& name, const std::vector<uint8_t>& bytes) {
        std::ofstream out(std::filesystem::path(folder_) / name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    }
    // A model file: lower ROM then BASIC, each page filled, plus optional extra bytes.
    void WriteModelFile(const std::string& name, size_t size = 2 * CPC_PAGE_SIZE) {
        std::vector<uint8_t> bytes(size, 0x99);
        for (size_t i = 0; i < size && i < 2 * CPC_PAGE_SIZE; ++i)
            bytes[i] = i < CPC_PAGE_SIZE ? kLowerFill : kBasicFill;
        WriteFile(name, bytes);
    }
    void WriteAmsdos(size_t size = CPC_PAGE_SIZE) {
        WriteFile("amsdos.rom", std::vector<uint8_t>(size, kAmsdosFill));
    }
    // Every model file and AMSDOS, so that any type starts.
    void WriteAllRoms() {
        WriteModelFile("CPC464.rom");
        WriteModelFile("CPC664.rom");
        WriteModelFile("CPC6128.rom");
        WriteAmsdos();
    }

    static bool HoldsNothing() {
        const CPC_Machine& m = g_Machine;
        bool none = !m.lowerRom;
        for (const uint8_t* rom : m.upperRoms) none = none && !rom;
        for (int i = 0; i < 4; ++i) none = none && !m.baseRam[i] && !m.extraRam[i];
        return none;
    }

    std::string folder_;
};
