// The model objects of the remote platform: one per connection, each turning
// the platform's object operations into method calls on its D-Bus object in
// the TV service. Any client thread may call them.
#pragma once

#include <lomodelapi/model_objects.h>

#include <memory>

namespace tvsim::remote {

class RemoteRoot;
struct RemoteConnection;

// The object of the connection's real type; a plain model object for a type
// with no operations of its own.
std::unique_ptr<ModelObject> makeRemoteObject(RemoteRoot& root, RemoteConnection& connection);

}  // namespace tvsim::remote
