// Reads the broker section of a panel file.
#pragma once

#include "panel/file/broker_settings.h"
#include "panel/file/json_fields.h"

BrokerSettings readBroker(const JsonFields &fields);

// Whether a topic can carry the name as one of its levels; says so when it cannot.
void checkTopicLevel(const JsonFields &fields, const QString &key, const QString &name);
