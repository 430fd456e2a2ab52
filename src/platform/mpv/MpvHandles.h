#pragma once

#include <mpv/client.h>
#include <mpv/render.h>

#include <memory>

namespace tallyrig {

struct MpvTerminate {
  void operator()(mpv_handle* handle) const { mpv_terminate_destroy(handle); }
};
/// Shared with a painter, which goes when the window's drawing thread says so.
using MpvHandle = std::shared_ptr<mpv_handle>;
inline MpvHandle holdMpv(mpv_handle* handle) {
  return handle == nullptr ? MpvHandle{} : MpvHandle{handle, MpvTerminate{}};
}

struct MpvRenderFree {
  void operator()(mpv_render_context* context) const { mpv_render_context_free(context); }
};
/// Must go before its handle.
using MpvRenderContext = std::unique_ptr<mpv_render_context, MpvRenderFree>;

}  // namespace tallyrig
