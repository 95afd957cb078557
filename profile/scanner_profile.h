// The profile text of a scanner model, and lookups in it.
//
// The text may come from three places: the device, a file, a resource of the module. Each that is
// there replaces the one before it whole, unless its number under the key "VERSION" is negative:
// the device's text wins over a file, and a file over the resource. A damaged container counts with
// the text up to the fault. A text that is longer than 9999 bytes is left out.
//
// A file is called like the profile, with ".spf" behind it. It is looked for in
//
//     $NVQ_PROFILE_DIR
//     the folder of the registry's value "CommonFilesDir (x86)" or "CommonFilesDir" under
//         HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion; without these values the
//         user's folder for program data; and there in the vendor's folder and the family's in it
//
// The resource is the one of type RCDATA and the profile's name, or the built-in one under a
// number.
//
//     // comment; only while a key is looked for, only at the very start of a line
//     KEY  what else stands on the line of a key means nothing
//     values as decimal numbers, any number on a line, over as many lines as it takes
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "diag/log.h"
#include "profile/profile_container.h"

// The names of the folders in which files of this vendor and family lie.
struct ProfileFolders {
    const char* m_vendor = "Norvane";
    const char* m_family = "Lumetra";
};

// How a lookup went. Lines count from 1.
struct ProfileLookup {
    bool m_found = false;          // the key is in the text
    std::uint32_t m_keyLine = 0;   // if it was found
    std::uint32_t m_lastLine = 0;  // of the last value read
    std::uint16_t m_read = 0;      // values
};

class CScannerProfile {
  public:
    // Finds the text of a model. Everything given is borrowed for the call. Never fails: without
    // any text every lookup is in vain.
    CScannerProfile(const char* profileName, const char* deviceText, std::uint32_t deviceLength,
                    const ProfileFolders& folders = {});
    // A profile of this text alone.
    explicit CScannerProfile(std::string_view text);
    virtual ~CScannerProfile();
    CScannerProfile(const CScannerProfile&) = delete;
    CScannerProfile& operator=(const CScannerProfile&) = delete;

    // The `count` numbers of the first table called `key`, or `key` and '_' and `suffix` if that
    // isn't empty. A token that is no number counts as 0. False if there is no such table or the
    // text ends before its numbers do; `values` then holds the numbers up to there.
    bool getTable(const char* key, const char* suffix, double* values, std::uint16_t count,
                  ProfileLookup* lookup = nullptr) const;
    // The same in a text of the caller's, which ends with a zero byte.
    static bool getTableIn(const char* key, const char* suffix, double* values, std::uint16_t count,
                           const char* text, ProfileLookup* lookup = nullptr);

    // Null without memory.
    const char* Text() const { return m_pText.get(); }

  private:
    using TextBuffer = std::unique_ptr<char[]>;  // kProfileTextSize bytes

    // A cleared buffer; null without memory.
    static TextBuffer MakeBuffer();
    // Null for a text that doesn't fit.
    static TextBuffer CopyText(const char* text, std::size_t length);
    // The text of a source; null if there is none.
    TextBuffer ReadFileSource(const char* profileName, const ProfileFolders& folders) const;
    TextBuffer ReadProfileAt(const char* path) const;
    TextBuffer ReadResource(const char* profileName) const;
    TextBuffer Checked(TextBuffer text, const ProfileHeader& header) const;
    // A file that was passed over would show in no way.
    static void Warn(const char* path, const char* what);
    // Lets a source replace the text, and logs `line`, unless its version forbids it.
    void Merge(TextBuffer source, const char* line);
    void Log(const char* line) const;

    TextBuffer m_pText;  // the text in force
    std::unique_ptr<CLog> m_pLog;
};
