#include "platform/mpv/MpvPictures.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

namespace tallyrig {
namespace {

// What libmpv's scaler works best with, in bytes.
constexpr int kRowAlignment = 64;
constexpr int kPixelBytes = 4;

MoviePicture emptyPicture(int width, int height) {
  MoviePicture picture{width, height, (width * kPixelBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment, {}};
  picture.pixels.resize(static_cast<std::size_t>(picture.stride) * static_cast<std::size_t>(height));
  return picture;
}

std::ptrdiff_t offset(const MoviePicture& picture, int x, int y) {
  return static_cast<std::ptrdiff_t>(y) * picture.stride + static_cast<std::ptrdiff_t>(x) * kPixelBytes;
}

MoviePicture rotated(const MoviePicture& picture, int degrees) {
  const bool isOnItsSide = degrees % 180 != 0;
  MoviePicture result =
      isOnItsSide ? emptyPicture(picture.height, picture.width) : emptyPicture(picture.width, picture.height);
  for (int y = 0; y < result.height; ++y) {
    for (int x = 0; x < result.width; ++x) {
      const int fromX = degrees == 90 ? y : degrees == 180 ? picture.width - 1 - x : picture.width - 1 - y;
      const int fromY = degrees == 90 ? picture.height - 1 - x : degrees == 180 ? picture.height - 1 - y : x;
      std::memcpy(result.pixels.data() + offset(result, x, y), picture.pixels.data() + offset(picture, fromX, fromY),
                  kPixelBytes);
    }
  }
  return result;
}

}  // namespace

std::unique_ptr<MpvPictures> MpvPictures::create(mpv_handle& player, Deliver deliver) {
  std::unique_ptr<MpvPictures> pictures(new MpvPictures(std::move(deliver)));
  std::array parameters{
      mpv_render_param{MPV_RENDER_PARAM_API_TYPE, const_cast<char*>(MPV_RENDER_API_TYPE_SW)},
      mpv_render_param{MPV_RENDER_PARAM_INVALID, nullptr},
  };
  mpv_render_context* context = nullptr;
  if (mpv_render_context_create(&context, &player, parameters.data()) < 0) return nullptr;
  pictures->context_.reset(context);
  mpv_render_context_set_update_callback(
      context,
      [](void* owner) {
        auto& self = *static_cast<MpvPictures*>(owner);
        const std::lock_guard lock(self.mutex_);
        self.isDue_ = true;
        self.wake_.notify_one();
      },
      pictures.get());
  pictures->thread_ = std::thread([self = pictures.get()] { self->run(); });
  return pictures;
}

MpvPictures::~MpvPictures() {
  if (context_) mpv_render_context_set_update_callback(context_.get(), nullptr, nullptr);
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    wake_.notify_one();
  }
  if (thread_.joinable()) thread_.join();
}

void MpvPictures::setSize(int width, int height) {
  want({width, height, wanted_.rotation});
}

void MpvPictures::setRotation(int degrees) {
  want({wanted_.width, wanted_.height, degrees});
}

void MpvPictures::want(const Wanted& wanted) {
  const std::lock_guard lock(mutex_);
  if (wanted == wanted_) return;
  wanted_ = wanted;
  isWantedNew_ = true;
  wake_.notify_one();
}

void MpvPictures::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return isDue_ || isWantedNew_ || isEnding_; });
    if (isEnding_) return;
    const bool isWantedNew = std::exchange(isWantedNew_, false);
    isDue_ = false;
    const Wanted wanted = wanted_;
    lock.unlock();
    const bool isNew = (mpv_render_context_update(context_.get()) & MPV_RENDER_UPDATE_FRAME) != 0;
    hasPicture_ = hasPicture_ || isNew;
    if (hasPicture_ && (isNew || isWantedNew) && wanted.width > 0 && wanted.height > 0) {
      if (auto picture = draw(wanted)) deliver_(std::move(picture));
    }
    lock.lock();
  }
}

std::shared_ptr<const MoviePicture> MpvPictures::draw(const Wanted& wanted) {
  const bool isOnItsSide = wanted.rotation % 180 != 0;
  auto picture = std::make_shared<MoviePicture>(isOnItsSide ? emptyPicture(wanted.height, wanted.width)
                                                            : emptyPicture(wanted.width, wanted.height));
  if (!drawUpright(*picture)) return nullptr;
  if (wanted.rotation == 0) return picture;
  return std::make_shared<MoviePicture>(rotated(*picture, wanted.rotation));
}

bool MpvPictures::drawUpright(MoviePicture& picture) {
  std::array size{picture.width, picture.height};
  auto stride = static_cast<std::size_t>(picture.stride);
  // The player's clock says when a picture is due; waiting for it here would hold up what follows.
  int waitForTime = 0;
  std::array parameters{
      mpv_render_param{MPV_RENDER_PARAM_SW_SIZE, size.data()},
      mpv_render_param{MPV_RENDER_PARAM_SW_FORMAT, const_cast<char*>("bgr0")},
      mpv_render_param{MPV_RENDER_PARAM_SW_STRIDE, &stride},
      mpv_render_param{MPV_RENDER_PARAM_SW_POINTER, picture.pixels.data()},
      mpv_render_param{MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &waitForTime},
      mpv_render_param{MPV_RENDER_PARAM_INVALID, nullptr},
  };
  return mpv_render_context_render(context_.get(), parameters.data()) >= 0;
}

}  // namespace tallyrig
