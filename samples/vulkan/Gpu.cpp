#include "Gpu.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <vector>

namespace {

constexpr const char* kValidation = "VK_LAYER_KHRONOS_validation";

VKAPI_ATTR VkBool32 VKAPI_CALL Complain(VkDebugUtilsMessageSeverityFlagBitsEXT,
                                        VkDebugUtilsMessageTypeFlagsEXT,
                                        const VkDebugUtilsMessengerCallbackDataEXT* data,
                                        void* complaints) {
    ++*static_cast<int*>(complaints);
    std::cerr << data->pMessage << "\n";
    return VK_FALSE;
}

bool HasValidation() {
    std::uint32_t count = 0;
    vkEnumerateInstanceLayerProperties(&count, nullptr);
    std::vector<VkLayerProperties> layers(count);
    vkEnumerateInstanceLayerProperties(&count, layers.data());
    return std::any_of(layers.begin(), layers.end(), [](const VkLayerProperties& layer) {
        return std::strcmp(layer.layerName, kValidation) == 0;
    });
}

}  // namespace

void Must(VkResult result, const char* call) {
    if (result != VK_SUCCESS) {
        throw std::runtime_error(std::string(call) + ": " + std::to_string(result));
    }
}

Gpu::Gpu(int* complaints) : complaints_(complaints) {
    CreateInstance();
    CreateDevice();
}

Gpu::~Gpu() {
    vkDestroyCommandPool(device_, pool_, nullptr);
    vkDestroyDevice(device_, nullptr);
    if (messenger_ != VK_NULL_HANDLE) {
        const auto destroy = reinterpret_cast<PFN_vkDestroyDebugUtilsMessengerEXT>(
            vkGetInstanceProcAddr(instance_, "vkDestroyDebugUtilsMessengerEXT"));
        destroy(instance_, messenger_, nullptr);
    }
    vkDestroyInstance(instance_, nullptr);
}

void Gpu::CreateInstance() {
    VkApplicationInfo application{};
    application.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
    application.apiVersion = VK_API_VERSION_1_1;
    VkInstanceCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
    info.pApplicationInfo = &application;
    const char* const extension = VK_EXT_DEBUG_UTILS_EXTENSION_NAME;
    const bool validated = HasValidation();
    if (validated) {
        info.enabledLayerCount = info.enabledExtensionCount = 1;
        info.ppEnabledLayerNames = &kValidation;
        info.ppEnabledExtensionNames = &extension;
    }
    if (vkCreateInstance(&info, nullptr, &instance_) != VK_SUCCESS) {
        throw NoDevice("the Vulkan loader finds no driver");
    }
    if (validated) {
        VkDebugUtilsMessengerCreateInfoEXT messenger{};
        messenger.sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT;
        messenger.messageSeverity = VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT |
                                    VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT;
        messenger.messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT |
                                VK_DEBUG_UTILS_MESSAGE_TYPE_PERFORMANCE_BIT_EXT;
        messenger.pfnUserCallback = Complain;
        messenger.pUserData = complaints_;
        const auto create = reinterpret_cast<PFN_vkCreateDebugUtilsMessengerEXT>(
            vkGetInstanceProcAddr(instance_, "vkCreateDebugUtilsMessengerEXT"));
        Must(create(instance_, &messenger, nullptr, &messenger_), "vkCreateDebugUtilsMessengerEXT");
    }
}

void Gpu::CreateDevice() {
    std::uint32_t count = 0;
    vkEnumeratePhysicalDevices(instance_, &count, nullptr);
    if (count == 0) {
        throw NoDevice("there is no Vulkan device");
    }
    std::vector<VkPhysicalDevice> devices(count);
    vkEnumeratePhysicalDevices(instance_, &count, devices.data());
    physical_ = devices[0];
    VkPhysicalDeviceProperties properties;
    vkGetPhysicalDeviceProperties(physical_, &properties);
    name_ = properties.deviceName;

    // Graphics and compute queues can copy without saying so; every device has one of them.
    vkGetPhysicalDeviceQueueFamilyProperties(physical_, &count, nullptr);
    std::vector<VkQueueFamilyProperties> families(count);
    vkGetPhysicalDeviceQueueFamilyProperties(physical_, &count, families.data());
    const auto family =
        std::find_if(families.begin(), families.end(), [](const VkQueueFamilyProperties& f) {
            return (f.queueFlags & (VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT)) != 0;
        });
    family_ = static_cast<std::uint32_t>(family - families.begin());
    const float priority = 1;
    VkDeviceQueueCreateInfo queue{};
    queue.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
    queue.queueFamilyIndex = family_;
    queue.queueCount = 1;
    queue.pQueuePriorities = &priority;
    VkDeviceCreateInfo device{};
    device.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
    device.queueCreateInfoCount = 1;
    device.pQueueCreateInfos = &queue;
    Must(vkCreateDevice(physical_, &device, nullptr, &device_), "vkCreateDevice");
    vkGetDeviceQueue(device_, family_, 0, &queue_);

    VkCommandPoolCreateInfo pool{};
    pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
    pool.flags = VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT;
    pool.queueFamilyIndex = family_;
    Must(vkCreateCommandPool(device_, &pool, nullptr, &pool_), "vkCreateCommandPool");
    VkCommandBufferAllocateInfo commands{};
    commands.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
    commands.commandPool = pool_;
    commands.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    commands.commandBufferCount = 1;
    Must(vkAllocateCommandBuffers(device_, &commands, &commands_), "vkAllocateCommandBuffers");
}

VkBuffer Gpu::CreateBuffer(VkDeviceSize size) {
    VkBufferCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
    info.size = size;
    info.usage = VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT |
                 VK_BUFFER_USAGE_VERTEX_BUFFER_BIT;
    VkBuffer buffer = VK_NULL_HANDLE;
    Must(vkCreateBuffer(device_, &info, nullptr, &buffer), "vkCreateBuffer");
    return buffer;
}

void Gpu::DestroyBuffer(VkBuffer buffer) {
    vkDestroyBuffer(device_, buffer, nullptr);
}

VkMemoryRequirements Gpu::Requirements(VkBuffer buffer) {
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device_, buffer, &requirements);
    return requirements;
}

void Gpu::Bind(VkBuffer buffer, VkDeviceMemory memory, VkDeviceSize offset) {
    Must(vkBindBufferMemory(device_, buffer, memory, offset), "vkBindBufferMemory");
}

std::uint32_t Gpu::MemoryType(VkMemoryPropertyFlags wanted) const {
    VkPhysicalDeviceMemoryProperties types;
    vkGetPhysicalDeviceMemoryProperties(physical_, &types);
    for (std::uint32_t i = 0; i < types.memoryTypeCount; ++i) {
        if ((types.memoryTypes[i].propertyFlags & wanted) == wanted) {
            return i;
        }
    }
    throw std::runtime_error("no such memory on this device");
}

VkDeviceMemory Gpu::AllocateMemory(VkDeviceSize size, bool mapped) {
    VkMemoryAllocateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
    info.allocationSize = size;
    info.memoryTypeIndex = MemoryType(mapped ? VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT |
                                                   VK_MEMORY_PROPERTY_HOST_COHERENT_BIT
                                             : VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
    VkDeviceMemory memory = VK_NULL_HANDLE;
    return vkAllocateMemory(device_, &info, nullptr, &memory) == VK_SUCCESS ? memory
                                                                            : VK_NULL_HANDLE;
}

void Gpu::FreeMemory(VkDeviceMemory memory) {
    vkFreeMemory(device_, memory, nullptr);
}

unsigned char* Gpu::Map(VkDeviceMemory memory) {
    void* bytes = nullptr;
    Must(vkMapMemory(device_, memory, 0, VK_WHOLE_SIZE, 0, &bytes), "vkMapMemory");
    return static_cast<unsigned char*>(bytes);
}

void Gpu::Begin() {
    VkCommandBufferBeginInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
    info.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    Must(vkBeginCommandBuffer(commands_, &info), "vkBeginCommandBuffer");
    recording_ = true;
}

void Gpu::Copy(VkBuffer from, VkDeviceSize fromOffset, VkBuffer to, VkDeviceSize toOffset,
               VkDeviceSize size) {
    if (!recording_) {
        Begin();
    }
    const VkBufferCopy region{fromOffset, toOffset, size};
    vkCmdCopyBuffer(commands_, from, to, 1, &region);
    // The next copy may read what this one wrote, or write where this one read.
    VkMemoryBarrier barrier{};
    barrier.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER;
    barrier.srcAccessMask = VK_ACCESS_TRANSFER_WRITE_BIT;
    barrier.dstAccessMask =
        VK_ACCESS_TRANSFER_READ_BIT | VK_ACCESS_TRANSFER_WRITE_BIT | VK_ACCESS_HOST_READ_BIT;
    vkCmdPipelineBarrier(commands_, VK_PIPELINE_STAGE_TRANSFER_BIT,
                         VK_PIPELINE_STAGE_TRANSFER_BIT | VK_PIPELINE_STAGE_HOST_BIT, 0, 1,
                         &barrier, 0, nullptr, 0, nullptr);
}

void Gpu::Run() {
    if (!recording_) {
        return;
    }
    recording_ = false;
    Must(vkEndCommandBuffer(commands_), "vkEndCommandBuffer");
    VkSubmitInfo submit{};
    submit.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &commands_;
    Must(vkQueueSubmit(queue_, 1, &submit, VK_NULL_HANDLE), "vkQueueSubmit");
    Must(vkQueueWaitIdle(queue_), "vkQueueWaitIdle");
}
