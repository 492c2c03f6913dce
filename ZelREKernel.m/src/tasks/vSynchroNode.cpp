#include "ZelREKernel/tasks/vSynchroNode.h"

#include <atomic>

namespace ZKL {
namespace {

constinit std::atomic<int> g_defaultTimeoutMs = -1;

}  // namespace

vSynchroNode::vSynchroNode(vTaskNode* node) {
    if (node == nullptr) {
        return;
    }
    synchro_ = vTaskNode::CreateImpl();
    try {
        node->AddDependentTask(synchro_);
    } catch (...) {
        synchro_->DeleteSynchroNode();
        throw;
    }
}

vSynchroNode& vSynchroNode::operator=(vSynchroNode&& other) noexcept {
    vSynchroNode former(std::move(*this));
    synchro_ = std::exchange(other.synchro_, nullptr);
    return *this;
}

vSynchroNode::~vSynchroNode() {
    if (synchro_ != nullptr) {
        synchro_->DeleteSynchroNode();
    }
}

int vSynchroNode::Wait(int timeoutMs) {
    if (synchro_ == nullptr) {
        return 0;
    }
    const int result = synchro_->Wait(timeoutMs);
    if (result == 0) {
        std::exchange(synchro_, nullptr)->DeleteSynchroNode();
    }
    return result;
}

int vSynchroNode::Wait() {
    return Wait(g_defaultTimeoutMs.load(std::memory_order_relaxed));
}

void SetDefaultTaskTimeout(int timeoutMs) noexcept {
    g_defaultTimeoutMs.store(timeoutMs, std::memory_order_relaxed);
}

}  // namespace ZKL
