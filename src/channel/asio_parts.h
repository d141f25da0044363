// What the transport uses of asio, included from here only: whether asio aligns memory itself depends on what
// was included before it, and must be the same in every source.
#pragma once

#define ASIO_DISABLE_STD_ALIGNED_ALLOC
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/read.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>
#include <asio/write.hpp>
