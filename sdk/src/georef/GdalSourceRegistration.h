// A byte source made readable by GDAL for as long as this object lives; the registration is
// removed on every way out of a scope.
#pragma once

#include <memory>
#include <string>

#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class GdalSourceRegistration {
public:
    explicit GdalSourceRegistration(std::shared_ptr<ByteSource> source);
    ~GdalSourceRegistration();
    GdalSourceRegistration(const GdalSourceRegistration&) = delete;
    GdalSourceRegistration& operator=(const GdalSourceRegistration&) = delete;

    /// The virtual path to hand to GDAL; empty when there was no source.
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace Engine
}  // namespace PLK
