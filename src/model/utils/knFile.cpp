#include "model/utils/knFile.h"

std::string knFile::getExtension(std::string const& fileName) {
  std::size_t const slash = fileName.rfind('/');
  std::size_t const first = slash == std::string::npos ? 0 : slash + 1;
  std::size_t const dot = fileName.rfind('.');
  if (dot == std::string::npos || dot <= first) return {};
  return fileName.substr(dot + 1);
}
