#include "PictureWriter.h"

#include <utility>

#include "KernelAllocator.h"
#include "Picture.h"
#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "ZelREKernel/profiling/vScopedProfiler.h"
#include "ZelREKernel/tasks/vTaskManager.h"

namespace frame {

void PictureWriter::Save(const std::string& path, std::span<const std::uint8_t> pixels) {
    static const std::uint32_t s_name = ZKL::vProfiler::RegisterName("encode PNG");
    vTaskManager* const manager = vTaskManager::GetInstance();
    // Relaxed: the count only keeps the number of copies down.
    if (underWay_.load(std::memory_order_relaxed) >= kMostUnderWay) {
        manager->WaitTask(eAsyncTask0, ZKL::vProfiler::kNone);
    }
    underWay_.fetch_add(1, std::memory_order_relaxed);
    manager->Run(eAsyncTask0,
                 [this, path, copy = Vector<std::uint8_t>(pixels.begin(), pixels.end())] {
                     const ZKL::vScopedProfiler scope(s_name);
                     std::string error;
                     if (!WritePng(path, width_, height_, copy.data(), error)) {
                         Report(error);
                     }
                     underWay_.fetch_sub(1, std::memory_order_relaxed);
                 });
}

bool PictureWriter::Finish(std::string& error) {
    vTaskManager::GetInstance()->WaitTask(eAsyncTask0, ZKL::vProfiler::kNone);
    const std::lock_guard guard(lock_);
    error = std::exchange(firstError_, {});
    return error.empty();
}

void PictureWriter::Report(const std::string& error) {
    ZKL::LogDefault(ZKL::vLogger::eError, "Cannot write a picture: %s", error.c_str());
    const std::lock_guard guard(lock_);
    if (firstError_.empty()) {
        firstError_ = error;
    }
}

}  // namespace frame
