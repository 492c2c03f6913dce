#pragma once

// One Vulkan device without a window: memory, buffers, and copies that are recorded and then run.
// All calls from one thread. What fails throws std::runtime_error with the name of the call.

#include <vulkan/vulkan.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

// There is no device here.
class NoDevice : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void Must(VkResult result, const char* call);

class Gpu {
public:
    // Counts in `complaints`, until its end, how often the validation layer has something to say.
    // Throws NoDevice where there is no loader, driver or device.
    explicit Gpu(int* complaints);
    ~Gpu();
    Gpu(const Gpu&) = delete;
    Gpu& operator=(const Gpu&) = delete;

    const std::string& Name() const { return name_; }
    bool IsValidated() const { return messenger_ != VK_NULL_HANDLE; }

    // A buffer that copies may read and write, without memory.
    VkBuffer CreateBuffer(VkDeviceSize size);
    void DestroyBuffer(VkBuffer buffer);
    VkMemoryRequirements Requirements(VkBuffer buffer);
    void Bind(VkBuffer buffer, VkDeviceMemory memory, VkDeviceSize offset);

    // Null when the device has no memory left. `mapped` is for the processor to read and write.
    VkDeviceMemory AllocateMemory(VkDeviceSize size, bool mapped);
    void FreeMemory(VkDeviceMemory memory);
    unsigned char* Map(VkDeviceMemory memory);

    // Records a copy behind all those recorded before.
    void Copy(VkBuffer from, VkDeviceSize fromOffset, VkBuffer to, VkDeviceSize toOffset,
              VkDeviceSize size);
    // Runs what was recorded and waits for it.
    void Run();

private:
    void CreateInstance();
    void CreateDevice();
    void Begin();
    std::uint32_t MemoryType(VkMemoryPropertyFlags wanted) const;

    VkInstance instance_ = VK_NULL_HANDLE;
    VkDebugUtilsMessengerEXT messenger_ = VK_NULL_HANDLE;
    VkPhysicalDevice physical_ = VK_NULL_HANDLE;
    VkDevice device_ = VK_NULL_HANDLE;
    VkQueue queue_ = VK_NULL_HANDLE;
    VkCommandPool pool_ = VK_NULL_HANDLE;
    VkCommandBuffer commands_ = VK_NULL_HANDLE;
    std::uint32_t family_ = 0;
    bool recording_ = false;
    int* complaints_;
    std::string name_;
};
