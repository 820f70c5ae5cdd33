#include "tools/fabric/services.h"

#include <array>

#include "tools/fabric/metadata_service.h"
#include "tools/fabric/storage_service.h"
#include "tools/fabric/wire_server.h"

namespace kelvane::fabric {

namespace {

constexpr std::array kServices{
    Service{.name = "metadata", .claims = metadata_service_claims, .serve = metadata_service_serve},
    Service{.name = "storage", .claims = storage_service_claims, .serve = storage_service_serve},
    Service{.name = "wire", .claims = wire_server_claims, .serve = wire_server_serve},
};

}  // namespace

const Service *find_service(const World &world, const Target &target) {
  for (const Service &service : kServices)
    if (service.claims(world, target)) return &service;
  return nullptr;
}

}  // namespace kelvane::fabric
