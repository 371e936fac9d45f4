#include "LiveMemory.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cerrno>

namespace halcyra {
namespace {

std::atomic<std::size_t> liveBlocks = 0;
std::atomic<std::size_t> liveBytes = 0;

}  // namespace

LiveMemory LiveMemory::now() {
  return {liveBlocks, liveBytes};
}

void expectAllGivenBack(const LiveMemory& before, std::size_t repetitions) {
  const LiveMemory after = LiveMemory::now();
  EXPECT_LE(after.blocks, before.blocks + 4) << "after " << repetitions << " repetitions";
  EXPECT_LE(after.bytes, before.bytes + 1024) << "after " << repetitions << " repetitions";
}

}  // namespace halcyra

#ifndef __SANITIZE_ADDRESS__

// glibc lets a program replace its functions, and keeps them under these names.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

static void* taken(void* block) noexcept {
  if (!block) return block;
  ++halcyra::liveBlocks;
  halcyra::liveBytes += malloc_usable_size(block);
  return block;
}

static void givenBack(void* block) noexcept {
  if (!block) return;
  --halcyra::liveBlocks;
  halcyra::liveBytes -= malloc_usable_size(block);
}

void* malloc(std::size_t size) {
  return taken(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
  return taken(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
  givenBack(block);
  void* const moved = __libc_realloc(block, size);
  const bool stays = !moved && size > 0;
  taken(stays ? block : moved);
  return moved;
}

void* memalign(std::size_t alignment, std::size_t size) {
  return taken(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  *block = memalign(alignment, size);
  return *block ? 0 : ENOMEM;
}

void free(void* block) {
  givenBack(block);
  __libc_free(block);
}

}  // extern "C"

#endif
