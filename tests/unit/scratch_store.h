// A profile store (and shell registration place) of a test's own, removed
// again when the test ends, so that tests neither see nor change the user's.
#pragma once

#include "platform/profile.h"
#include "platform/shell_registration.h"
#include "test_support.h"

#include <string>

#ifndef _WIN32
#include <filesystem>
#endif

class ScratchStore {
public:
    explicit ScratchStore(const std::string& name)
    {
#ifdef _WIN32
        root_ = "Software\\KorvantaTests\\" + std::to_string(GetCurrentProcessId()) + "_" + name;
        Remove();
        PRF_SetLocation(root_.c_str());
        REG_SetLocation((root_ + "\\Classes").c_str());
#else
        root_ = TempPath("store_" + name);
        Remove();
        PRF_SetLocation(root_.c_str());
#endif
    }
    ~ScratchStore()
    {
        PRF_SetLocation(nullptr);
        REG_SetLocation(nullptr);
        Remove();
    }
    // Windows: the key under HKEY_CURRENT_USER that stands for "Software".
    // Elsewhere: the folder that stands for the configuration folder.
    const std::string& Root() const { return root_; }
    // The store file of the program's own version (native builds).
    std::string File() const { return root_ + "/korvanta/3.50.ini"; }

private:
    void Remove()
    {
#ifdef _WIN32
        RegDeleteTreeA(HKEY_CURRENT_USER, root_.c_str());
        RegDeleteKeyA(HKEY_CURRENT_USER, root_.c_str());
        RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\KorvantaTests");  // only when no other test's is left
#else
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
#endif
    }
    std::string root_;
};
