#include "platform/mpv/MpvPainters.h"

#include <mpv/render_gl.h>

#include <array>
#include <utility>

namespace tallyrig {

class MpvPainters::Painter final : public MoviePainter {
 public:
  Painter(MpvHandle player, std::shared_ptr<Shared> shared) : player_(std::move(player)), shared_(std::move(shared)) {}

  ~Painter() override {
    if (context_) {
      mpv_render_context_set_update_callback(context_.get(), nullptr, nullptr);
      context_.reset();
      shared_->events.gone();
    }
    shared_->isInUse = false;
  }
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;

  bool open(FindFunction findFunction) {
    mpv_opengl_init_params openGL{};
    openGL.get_proc_address = [](void* find, const char* name) { return (*static_cast<FindFunction*>(find))(name); };
    openGL.get_proc_address_ctx = &findFunction;
    std::array parameters{
        mpv_render_param{MPV_RENDER_PARAM_API_TYPE, const_cast<char*>(MPV_RENDER_API_TYPE_OPENGL)},
        mpv_render_param{MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &openGL},
        mpv_render_param{MPV_RENDER_PARAM_INVALID, nullptr},
    };
    mpv_render_context* context = nullptr;
    if (mpv_render_context_create(&context, player_.get(), parameters.data()) < 0) return false;
    context_.reset(context);
    mpv_render_context_set_update_callback(
        context, [](void* shared) { static_cast<Shared*>(shared)->events.pictureDue(); }, shared_.get());
    shared_->events.ready();
    return true;
  }

  void paint(unsigned framebuffer, int width, int height) override {
    mpv_render_context_update(context_.get());
    mpv_opengl_fbo target{static_cast<int>(framebuffer), width, height, 0};
    // The player's clock says when a picture is due; waiting for it here would hold up the window.
    int waitForTime = 0;
    std::array parameters{
        mpv_render_param{MPV_RENDER_PARAM_OPENGL_FBO, &target},
        mpv_render_param{MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &waitForTime},
        mpv_render_param{MPV_RENDER_PARAM_INVALID, nullptr},
    };
    mpv_render_context_render(context_.get(), parameters.data());
  }

 private:
  const MpvHandle player_;
  const std::shared_ptr<Shared> shared_;
  MpvRenderContext context_;
};

MpvPainters::MpvPainters(const MpvHandle& player, Events events)
    : player_(player), shared_(std::make_shared<Shared>()) {
  shared_->events = std::move(events);
}

std::unique_ptr<MoviePainter> MpvPainters::make(FindFunction findFunction) {
  auto player = player_.lock();
  if (!player || shared_->isInUse.exchange(true)) return nullptr;
  auto painter = std::make_unique<Painter>(std::move(player), shared_);
  if (painter->open(std::move(findFunction))) return painter;
  // Better a movie without its picture than none.
  shared_->events.ready();
  return nullptr;
}

}  // namespace tallyrig
