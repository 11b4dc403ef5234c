#include "HerdrClient/Support/BoundedFile.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

} // namespace

std::expected<QByteArray, BoundedFile::Failure> BoundedFile::read(const QString& path, qint64 limit,
                                                                  Links links)
{
    const QByteArray encoded = QFile::encodeName(path);
    int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    if (links == Links::refuse)
        flags |= O_NOFOLLOW;
    const Descriptor fd(::open(encoded.constData(), flags));
    if (fd.get() < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return std::unexpected(Failure::missing);
        return std::unexpected(errno == ELOOP ? Failure::notRegular : Failure::unreadable);
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0)
        return std::unexpected(Failure::unreadable);
    if (!S_ISREG(info.st_mode))
        return std::unexpected(Failure::notRegular);
    if (info.st_size > limit)
        return std::unexpected(Failure::tooLarge);

    // One byte past the bound tells a file that grew past it since fstat from one that did not.
    QByteArray data;
    data.resize(qsizetype(std::min<qint64>(info.st_size, limit) + 1));
    qint64 filled = 0;
    while (filled <= limit) {
        if (filled == data.size())
            data.resize(qsizetype(std::min<qint64>(data.size() * 2, limit + 1)));
        const ssize_t count = ::read(fd.get(), data.data() + filled, size_t(data.size() - filled));
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return std::unexpected(Failure::unreadable);
        }
        if (count == 0)
            break;
        filled += count;
    }
    if (filled > limit)
        return std::unexpected(Failure::tooLarge);
    data.truncate(filled);
    return data;
}

std::optional<QString> BoundedFile::signature(const QString& path)
{
    const QByteArray encoded = QFile::encodeName(path);
    struct stat info {};
    if (::stat(encoded.constData(), &info) != 0)
        return std::nullopt;
    const auto nanoseconds = [](const timespec& time) {
        return QString::number(qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec);
    };
    return QString::number(quint64(info.st_dev)) + u':' + QString::number(quint64(info.st_ino))
           + u':' + nanoseconds(info.st_mtim) + u':' + nanoseconds(info.st_ctim) + u':'
           + QString::number(qint64(info.st_size));
}
