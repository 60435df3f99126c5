// The desk's side of the shared clock.
#include "simulator/desk/clock.h"

#include <algorithm>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "simulator/desk/desk_clock.h"
#include "simulator/desk/error.h"

namespace desk {

template <typename T>
static T load(const T &field) {
    return __atomic_load_n(&field, __ATOMIC_SEQ_CST);
}

template <typename T, typename V>
static void store(T &field, V value) {
    __atomic_store_n(&field, static_cast<T>(value), __ATOMIC_SEQ_CST);
}

static void tell_daemon(desk_clock *shared) {
    __atomic_add_fetch(&shared->changes, 1, __ATOMIC_SEQ_CST);
    syscall(SYS_futex, &shared->changes, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

Clock::Clock(const std::string &host_path, int64_t origin_us) {
    const int file = open(host_path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(desk_clock)) != 0) throw system_error("can't make " + host_path);
    void *place = mmap(nullptr, sizeof(desk_clock), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (place == MAP_FAILED) throw system_error("can't map " + host_path);
    shared_ = static_cast<desk_clock *>(place);
    reset(origin_us);
}

Clock::~Clock() { munmap(shared_, sizeof(desk_clock)); }

// The daemon counts microseconds in 32 signed bits. 396000 turns of 2^32 us after 1970 is in November 2023;
// half a turn on, the count is at its lowest. One second is left over because a count of 0 ms means "no
// origin yet".
static constexpr int64_t turn_us = int64_t{1} << 32;
static constexpr int64_t wrap_us = 396000 * turn_us + turn_us / 2;

int64_t Clock::usual_origin() { return wrap_us + 1000000; }

int64_t Clock::origin_before_wrap(int64_t ms) { return wrap_us - ms * 1000; }

void Clock::reset(int64_t origin_us) {
    store(shared_->mode, DESK_CLOCK_STEPPED);
    store(shared_->origin_us, origin_us);
    store(shared_->now_us, 0);
    store(shared_->limit_us, 0);
    store(shared_->stands_at_us, -1);
    store(shared_->speed_thousandths, 1000);
    store(shared_->passes, 0);
    store(shared_->look_us, 0);
    store(shared_->looks_kept, 0);
    store(shared_->magic, DESK_CLOCK_MAGIC);
}

void Clock::raise(int64_t ms) {
    store(shared_->looks_kept, 0);
    store(shared_->limit_us, std::max(load(shared_->limit_us), load(shared_->now_us)) + ms * 1000);
    tell_daemon(shared_);
}

void Clock::skip(int64_t ms) { store(shared_->now_us, load(shared_->now_us) + ms * 1000); }

bool Clock::stands_still() const {
    const bool stepped = load(shared_->mode) == DESK_CLOCK_STEPPED;
    return stepped && load(shared_->stands_at_us) == load(shared_->limit_us);
}

static_assert(Clock::most_looks == DESK_MOST_LOOKS);

void Clock::look_every(int64_t ms, size_t panel_bytes) {
    if (panel_bytes > DESK_LOOK_BYTES) throw Error("a panel of " + std::to_string(panel_bytes) + " bytes is too large");
    store(shared_->panel_bytes, panel_bytes);
    store(shared_->look_us, ms * 1000);
}

std::vector<Look> Clock::looks() const {
    const uint32_t kept = load(shared_->looks_kept);
    const uint32_t size = load(shared_->panel_bytes);
    std::vector<Look> looks;
    for (uint32_t i = 0; i < kept; i++) {
        const desk_look &look = shared_->looks[i];
        looks.push_back({look.at_us, {look.panel, look.panel + size}});
    }
    return looks;
}

void Clock::set_speed(double speed) {
    store(shared_->speed_thousandths, speed * 1000.0);
    store(shared_->mode, DESK_CLOCK_SCALED);
    tell_daemon(shared_);
}

void Clock::stop() {
    store(shared_->stands_at_us, -1);
    store(shared_->limit_us, load(shared_->now_us));
    store(shared_->mode, DESK_CLOCK_STEPPED);
    tell_daemon(shared_);
}

void Clock::set_by(int64_t us) { store(shared_->origin_us, load(shared_->origin_us) + us); }

int64_t Clock::now_us() const { return load(shared_->now_us); }

uint32_t Clock::passes() const { return load(shared_->passes); }

} // namespace desk
