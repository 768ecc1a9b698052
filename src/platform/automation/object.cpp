#include "platform/automation/object.h"

namespace corveth {

namespace {

std::atomic<std::size_t> liveObjects = 0;

// Raw and trivially destroyed, so that it can still be read while the thread's other state is being destroyed.
thread_local const Apartment* currentApartment = nullptr;

} // namespace

struct Apartment::ThreadEnd {
    ThreadEnd() : apartment(std::make_shared<Apartment>()) { currentApartment = apartment.get(); }
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;
    ~ThreadEnd() {
        apartment->end();
        currentApartment = nullptr;
    }

    std::shared_ptr<Apartment> apartment;
};

const std::shared_ptr<Apartment>& Apartment::current() {
    thread_local ThreadEnd thread;
    return thread.apartment;
}

Apartment::~Apartment() = default;

bool Apartment::isCurrent() const noexcept {
    return currentApartment == this;
}

bool Apartment::ended() const noexcept {
    return ended_.load(std::memory_order_acquire);
}

void Apartment::retire(const Object* object) noexcept {
    {
        const std::scoped_lock lock(mutex_);
        if (!ended_.load(std::memory_order_relaxed)) {
            try {
                retired_.push_back(object);
                hasRetired_.store(true, std::memory_order_release);
                return;
            } catch (const std::bad_alloc&) {
                // Without memory for the queue the object stays: a leak is better than a destructor on a wrong thread.
                return;
            }
        }
    }
    delete object;
}

void Apartment::collect() noexcept {
    while (hasRetired_.load(std::memory_order_acquire)) {
        std::vector<const Object*> retired;
        {
            const std::scoped_lock lock(mutex_);
            retired.swap(retired_);
            hasRetired_.store(false, std::memory_order_relaxed);
        }
        for (const Object* object : retired)
            delete object;
    }
}

void Apartment::end() noexcept {
    collect();
    {
        const std::scoped_lock lock(mutex_);
        ended_.store(true, std::memory_order_release);
    }
    collect();
}

Object::Object() : home_(Apartment::current()) {
    liveObjects.fetch_add(1, std::memory_order_relaxed);
}

Object::~Object() {
    delete edge.load(std::memory_order_relaxed);
    liveObjects.fetch_sub(1, std::memory_order_relaxed);
}

void Object::addRef() const noexcept {
    references_.fetch_add(1, std::memory_order_relaxed);
}

void Object::release() const noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (home_->isCurrent()) {
        delete this;
    } else {
        // Retiring may destroy the object and with it the last but one reference to its apartment.
        const std::shared_ptr<Apartment> home = home_;
        home->retire(this);
    }
}

void Object::checkThread() const {
    if (!home_->isCurrent()) raise(errors::wrongThread);
}

std::size_t Object::liveCount() noexcept {
    return liveObjects.load(std::memory_order_relaxed);
}

} // namespace corveth
