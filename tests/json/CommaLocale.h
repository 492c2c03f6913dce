#pragma once

// Switches the numeric locale to one with a decimal comma while it lives, if there is one.

#include <MekHost/process/MekEnvironment.h>

#include <clocale>
#include <string>

namespace test {

class CommaLocale {
public:
    CommaLocale() {
        MekPutEnv("LOCPATH=" ZEL_TEST_LOCALE_DIR);
        for (const char* name : {"de_DE.UTF-8", "German_Germany.1252", "de-DE"}) {
            if (std::setlocale(LC_NUMERIC, name) != nullptr &&
                *std::localeconv()->decimal_point == ',') {
                name_ = std::setlocale(LC_NUMERIC, nullptr);
                return;
            }
        }
    }
    ~CommaLocale() { std::setlocale(LC_NUMERIC, "C"); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    // Empty where the machine has none.
    const std::string& Name() const { return name_; }

private:
    std::string name_;
};

}  // namespace test
