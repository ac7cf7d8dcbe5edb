// An owned block of bytes and its size: pixel data read from a file or decoded, an image's working
// copy of its pixels, a display buffer. A block has one owner; it moves, never copies, and is freed
// when its owner goes. Others look at it through std::span views that don't outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

class ByteBlock {
 public:
  ByteBlock() = default;
  // Takes `bytes`, a block of `size` bytes (null bytes make an empty block, whatever `size` says).
  ByteBlock(std::unique_ptr<std::uint8_t[]> bytes, std::size_t size)
      : bytes_(std::move(bytes)), size_(bytes_ ? size : 0) {}

  // `size` bytes left uninitialised: the maker writes every byte it hands on. Throws std::bad_alloc.
  static ByteBlock Uninitialised(std::size_t size) {
    return ByteBlock(std::make_unique_for_overwrite<std::uint8_t[]>(size), size);
  }
  // `size` bytes, all zero. Throws std::bad_alloc.
  static ByteBlock Zeroed(std::size_t size) { return ByteBlock(std::make_unique<std::uint8_t[]>(size), size); }

  std::uint8_t* Data() { return bytes_.get(); }
  const std::uint8_t* Data() const { return bytes_.get(); }
  std::size_t Size() const { return size_; }
  bool Empty() const { return size_ == 0; }
  std::span<std::uint8_t> Span() { return {bytes_.get(), size_}; }
  std::span<const std::uint8_t> Span() const { return {bytes_.get(), size_}; }

  // Hands the bytes over (to a shared owner, say); the block is empty afterwards.
  std::unique_ptr<std::uint8_t[]> Release() && {
    size_ = 0;
    return std::move(bytes_);
  }

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
};
