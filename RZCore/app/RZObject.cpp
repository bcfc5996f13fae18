#include <RZCore/app/RZObject.h>

RZRefCounted::RZRefCounted() : m_pCount(new std::atomic<int>(0)) {}

RZRefCounted::~RZRefCounted()
{
    delete m_pCount;
}

void RZRefCounted::addRef()
{
    m_pCount->fetch_add(1, std::memory_order_relaxed);
}

bool RZRefCounted::release()
{
    return m_pCount->fetch_sub(1, std::memory_order_acq_rel) != 1;
}

int RZRefCounted::refCount() const
{
    return m_pCount->load(std::memory_order_relaxed);
}

RZObject::RZObject() : lifetimeToken(std::make_shared<char>(0)) {}

RZObject::~RZObject()
{
    lifetimeToken.reset();
}

// A copy is a new object with a life of its own.
RZObject::RZObject(const RZObject&) : lifetimeToken(std::make_shared<char>(0)) {}

RZObject& RZObject::operator=(const RZObject&)
{
    return *this;
}

std::weak_ptr<char> RZObject::externData() const
{
    return lifetimeToken;
}
