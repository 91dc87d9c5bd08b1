#include "ExrFiles.h"

#include "Errors.h"

#ifdef VQT_HAVE_OPENEXR
#include <ImfArray.h>
#include <ImfRgbaFile.h>

#include <exception>
#include <vector>
#endif

namespace qtmovie {

#ifdef VQT_HAVE_OPENEXR

void writeExr(const std::string& path, const Image& image) {
  try {
    std::vector<Imf::Rgba> pixels(static_cast<std::size_t>(image.width) * image.height);
    for (std::size_t i = 0; i < pixels.size(); ++i)
      pixels[i] = Imf::Rgba(image.rgba[4 * i], image.rgba[4 * i + 1], image.rgba[4 * i + 2], image.rgba[4 * i + 3]);
    Imf::RgbaOutputFile file(path.c_str(), image.width, image.height, Imf::WRITE_RGBA);
    file.setFrameBuffer(pixels.data(), 1, static_cast<std::size_t>(image.width));
    file.writePixels(image.height);
  } catch (const std::exception& error) {
    throw WriteFailure("cannot write EXR " + path + ": " + error.what());
  }
}

Image readExr(const std::string& path) {
  try {
    Imf::RgbaInputFile file(path.c_str());
    const Imath::Box2i window = file.dataWindow();
    Image image;
    image.width = window.max.x - window.min.x + 1;
    image.height = window.max.y - window.min.y + 1;
    std::vector<Imf::Rgba> pixels(static_cast<std::size_t>(image.width) * image.height);
    file.setFrameBuffer(pixels.data() - window.min.x - static_cast<std::ptrdiff_t>(window.min.y) * image.width, 1,
                        static_cast<std::size_t>(image.width));
    file.readPixels(window.min.y, window.max.y);
    image.rgba.resize(pixels.size() * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      image.rgba[4 * i] = pixels[i].r;
      image.rgba[4 * i + 1] = pixels[i].g;
      image.rgba[4 * i + 2] = pixels[i].b;
      image.rgba[4 * i + 3] = pixels[i].a;
    }
    return image;
  } catch (const std::exception& error) {
    throw Failure("cannot read EXR " + path + ": " + error.what());
  }
}

#else

void writeExr(const std::string& path, const Image&) {
  throw UsageError("this qtmovie was built without OpenEXR: " + path);
}
Image readExr(const std::string& path) { throw Failure("this qtmovie was built without OpenEXR: " + path); }

#endif

}  // namespace qtmovie
