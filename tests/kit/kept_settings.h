// Puts what the program keeps for its user out of the tests' reach and back again: registry key,
// autostart entry and data folder. What is kept survives a crash; the next start puts it back.
#pragma once

#include <string>

namespace harbinet::kit {

struct KeptPlaces {
    // Below HKEY_CURRENT_USER.
    std::wstring settings_key;
    std::wstring run_key;
    std::wstring run_value;
    std::wstring kept_key;
    // In one folder, so that a move costs nothing however much is published.
    std::wstring data_folder;
    std::wstring kept_folder;
};

// Those of the program and its present user.
KeptPlaces ProgramPlaces();

class KeptSettings {
public:
    explicit KeptSettings(KeptPlaces places) : places_(std::move(places)) {}

    // True from Keep to Restore, in this process or an earlier one.
    bool AreKept() const;
    // False when something cannot be moved, the data folder because it is in use, for instance.
    // Restore then puts back what was moved before.
    bool Keep();
    // Does nothing when nothing is kept. False when something is still in use; what is kept stays
    // kept then. `leftovers` names the folder that receives the data folder found in the place of
    // the kept one; empty: it is removed.
    bool Restore(const std::wstring& leftovers);

private:
    bool KeepRegistry() const;
    bool RestoreRegistry() const;
    bool RestoreDataFolder(const std::wstring& leftovers) const;

    const KeptPlaces places_;
};

}  // namespace harbinet::kit
