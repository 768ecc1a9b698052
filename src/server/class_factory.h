#pragma once

#include "platform/automation/class_info.h"
#include "server/binary/binary_interface.h"

namespace corveth::server {

/// The class that clients can create under `classId`; null when there is none.
const ClassInfo* findCreatable(const binary::Guid& classId);

/// Counted once for the receiver; legal on any thread, what it creates belongs to the calling one.
binary::IClassFactory* makeFactory(const ClassInfo& info);

} // namespace corveth::server
