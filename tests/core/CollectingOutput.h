#pragma once

// An output that keeps each text it is given, in a place that outlives it.

#include <ZelREKernel/core/vLoggerOutput.h>

#include <mutex>
#include <string>
#include <vector>

namespace test {

class Collected {
public:
    void Add(const std::string& text) {
        const std::lock_guard guard(mutex_);
        texts_.push_back(text);
    }
    std::vector<std::string> Texts() const {
        const std::lock_guard guard(mutex_);
        return texts_;
    }
    std::string Joined() const {
        std::string all;
        for (const std::string& text : Texts()) {
            all += text;
        }
        return all;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> texts_;
};

class CollectingOutput : public ZKL::vLoggerOutput {
public:
    explicit CollectingOutput(Collected* collected) : collected_(collected) {}
    void Write(const char* text) override { collected_->Add(text); }
    void Write(const std::string& text) override { collected_->Add(text); }

protected:
    ~CollectingOutput() override { collected_->Add("<gone>"); }

private:
    Collected* collected_;
};

}  // namespace test
