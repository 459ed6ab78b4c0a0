#pragma once
// A pool of reusable objects, so that hot paths (event batches, frames) stop allocating once the
// pool is warm.
//
// acquire() hands out a std::shared_ptr whose deleter gives the object back to the pool instead of
// destroying it. Objects returned after the pool itself is gone are simply destroyed, so handles
// may safely outlive the pool. When every pooled object is in use, acquire() creates a new one
// (the pool grows; grownCount() tells by how much) rather than blocking, because a stalled
// producer would drop camera data; tryAcquire() returns null instead.
//
// Errors: only std::bad_alloc from the objects' own constructors.
// Thread rules: acquire, tryAcquire and the returns are thread-safe (one mutex, held only to move
// a pointer). The objects themselves are not synchronised.

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace quorvel {

class QvObjectPoolBase {
public:
    virtual ~QvObjectPoolBase() = default;
    /// Objects waiting in the pool right now.
    virtual size_t idleCount() const = 0;
    /// Objects created beyond the initial count because the pool was empty.
    virtual size_t grownCount() const = 0;
};

template <typename T>
class QvObjectPool : public QvObjectPoolBase {
public:
    using Factory = std::function<std::unique_ptr<T>()>;
    /// Optional hook run on every object as it comes back, e.g. clear() on a vector.
    using Recycler = std::function<void(T&)>;

    QvObjectPool(size_t initialCount, Factory factory, Recycler recycler = {})
        : m_state(std::make_shared<State>()) {
        m_state->factory = std::move(factory);
        m_state->recycler = std::move(recycler);
        m_state->idle.reserve(initialCount);
        for (size_t i = 0; i < initialCount; ++i)
            m_state->idle.push_back(m_state->factory());
    }

    QvObjectPool(const QvObjectPool&) = delete;
    QvObjectPool& operator=(const QvObjectPool&) = delete;

    ~QvObjectPool() override {
        std::lock_guard lock(m_state->mutex);
        m_state->alive = false;
        m_state->idle.clear();
    }

    /// An object from the pool, or a newly made one when the pool is empty.
    std::shared_ptr<T> acquire() {
        if (auto p = tryAcquire())
            return p;
        {
            std::lock_guard lock(m_state->mutex);
            ++m_state->grown;
        }
        return wrap(m_state->factory());
    }

    /// An object from the pool, or null when every object is in use.
    std::shared_ptr<T> tryAcquire() {
        std::unique_ptr<T> obj;
        {
            std::lock_guard lock(m_state->mutex);
            if (m_state->idle.empty())
                return nullptr;
            obj = std::move(m_state->idle.back());
            m_state->idle.pop_back();
        }
        return wrap(std::move(obj));
    }

    size_t idleCount() const override {
        std::lock_guard lock(m_state->mutex);
        return m_state->idle.size();
    }
    size_t grownCount() const override {
        std::lock_guard lock(m_state->mutex);
        return m_state->grown;
    }

private:
    struct State {
        std::mutex mutex;
        std::vector<std::unique_ptr<T>> idle;
        Factory factory;
        Recycler recycler;
        size_t grown = 0;
        bool alive = true;
    };

    std::shared_ptr<T> wrap(std::unique_ptr<T> obj) {
        std::weak_ptr<State> weak = m_state;
        return std::shared_ptr<T>(obj.release(), [weak](T* raw) {
            std::unique_ptr<T> owned(raw);
            auto state = weak.lock();
            if (!state)
                return;
            if (state->recycler)
                state->recycler(*owned);
            std::lock_guard lock(state->mutex);
            if (state->alive)
                state->idle.push_back(std::move(owned));
        });
    }

    std::shared_ptr<State> m_state;
};

/// Builds pools. For std::vector the size argument is reserved (not filled), so a pooled batch
/// starts empty with room for that many elements, and is cleared (capacity kept) on return.
class QvObjectPoolFactory {
public:
    template <typename T, typename... Args>
    static std::unique_ptr<QvObjectPool<T>> createUniqueQvObjectPoolWithArgs(unsigned long long count,
                                                                             Args... args) {
        return std::make_unique<QvObjectPool<T>>(
            static_cast<size_t>(count), [args...] { return make<T>(args...); }, recycler<T>());
    }

private:
    template <typename T>
    struct IsVector : std::false_type {};
    template <typename E, typename A>
    struct IsVector<std::vector<E, A>> : std::true_type {};

    template <typename T, typename... Args>
    static std::unique_ptr<T> make(Args... args) {
        if constexpr (IsVector<T>::value && sizeof...(Args) == 1) {
            auto v = std::make_unique<T>();
            v->reserve(static_cast<size_t>((args, ...) > 0 ? (args, ...) : 0));
            return v;
        } else {
            return std::make_unique<T>(args...);
        }
    }

    template <typename T>
    static typename QvObjectPool<T>::Recycler recycler() {
        if constexpr (IsVector<T>::value)
            return [](T& v) { v.clear(); };
        else
            return {};
    }
};

} // namespace quorvel
