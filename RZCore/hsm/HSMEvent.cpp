#include "HSMEvent.h"

namespace HSM {

Event::Event() = default;

Event::Event(const QVariant& value) : data(value) {}

Event::Event(const Event& other) = default;

Event& Event::operator=(const Event& other) = default;

Event::~Event() = default;

} // namespace HSM
