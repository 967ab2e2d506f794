// The model objects RootInterface::connect hands out: one new object per
// connection, of the class that fits the entry's real type. They are called
// on client threads and forward to the model, which does the locking.
#pragma once

#include "model.h"

#include <lomodelapi/model_objects.h>

#include <memory>

namespace tvsim {

std::unique_ptr<ModelObject> makeModelObject(Model& model, const std::shared_ptr<Entry>& entry,
                                             const std::string& client);  // whom its writes are recorded for

}  // namespace tvsim
