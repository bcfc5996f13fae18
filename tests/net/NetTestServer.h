#pragma once
// An HTTP server inside the test, on a free loopback port, for what a well-behaved server never does.
// Each path is one behaviour:
//   /text               200 "hello"
//   /echo               200 "<Content-Type>|<request body>"
//   /missing            404 "nothing here"
//   /moved-with-body    302 to /text with the body "MOVED"
//   /redirect-abs       302 to the absolute address of /text
//   /redirect-rel       302 to "/text"
//   /redirect-404       302 to the absolute address of /missing
//   /loop               302 to the absolute address of /loop
//   /cbs                302 to "https://landing.example.com/page?x=1"
//   /silent             accepts, reads, never answers
//   /reset              promises 100000 bytes, sends 1000, then resets the connection
//   /drip?n=&every=&stall=   n chunks of 1000 bytes, one every `every` ms, the first `stall` ms late
//   /delay?ms=          200 "late" after `ms`
// Requests are recorded in order. Lives on the thread that made it.

#include <QHostAddress>
#include <QMap>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrlQuery>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#endif

class NetTestServer : public QTcpServer
{
public:
    struct Request
    {
        QByteArray method;
        QByteArray path;
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
    };

    NetTestServer() { listen(QHostAddress::LocalHost, 0); }

    QString url(const QString& path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
    }
    QList<Request> requests;
    // Requests for one path. Counted by path: Qt may send a request again after a reset, and such a
    // retry can come after its test has ended.
    int count(const QString& path) const
    {
        int total = 0;
        for (const Request& request : requests)
            total += QUrl(QString::fromLatin1(request.path)).path() == path ? 1 : 0;
        return total;
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto* socket = new QTcpSocket(this);
        socket->setSocketDescriptor(descriptor);
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            *buffer += socket->readAll();
            const int end = buffer->indexOf("\r\n\r\n");
            if (end < 0)
                return;
            Request request;
            const QList<QByteArray> lines = buffer->left(end).split('\n');
            const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
            request.method = first.value(0);
            request.path = first.value(1);
            for (int i = 1; i < lines.size(); ++i) {
                const int colon = lines[i].indexOf(':');
                if (colon > 0)
                    request.headers.insert(lines[i].left(colon).trimmed().toLower(),
                                           lines[i].mid(colon + 1).trimmed());
            }
            const int length = request.headers.value("content-length").toInt();
            if (buffer->size() < end + 4 + length)
                return;
            request.body = buffer->mid(end + 4, length);
            buffer->clear();
            requests << request;
            respond(socket, request);
        });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    static QByteArray head(int status, const char* reason, qint64 length,
                           const QByteArray& extra = QByteArray())
    {
        return "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason +
               "\r\nContent-Length: " + QByteArray::number(length) +
               "\r\nContent-Type: text/plain\r\nConnection: close\r\n" + extra + "\r\n";
    }

    static void send(QTcpSocket* socket, const QByteArray& bytes)
    {
        socket->write(bytes);
        socket->disconnectFromHost();
    }

    void respond(QTcpSocket* socket, const Request& request)
    {
        const QUrl target(QString::fromLatin1(request.path));
        const QString path = target.path();
        const QUrlQuery query(target);
        const auto redirect = [&](const QByteArray& location, const QByteArray& body = QByteArray()) {
            send(socket, head(302, "Found", body.size(), "Location: " + location + "\r\n") + body);
        };
        const QByteArray self = "http://127.0.0.1:" + QByteArray::number(serverPort());
        if (path == QLatin1String("/text")) {
            send(socket, head(200, "OK", 5) + "hello");
        } else if (path == QLatin1String("/echo")) {
            const QByteArray body = request.headers.value("content-type") + '|' + request.body;
            send(socket, head(200, "OK", body.size()) + body);
        } else if (path == QLatin1String("/missing")) {
            send(socket, head(404, "Not Found", 12) + "nothing here");
        } else if (path == QLatin1String("/moved-with-body")) {
            redirect(self + "/text", "MOVED");
        } else if (path == QLatin1String("/redirect-abs")) {
            redirect(self + "/text");
        } else if (path == QLatin1String("/redirect-rel")) {
            redirect("/text");
        } else if (path == QLatin1String("/redirect-404")) {
            redirect(self + "/missing");
        } else if (path == QLatin1String("/loop")) {
            redirect(self + "/loop");
        } else if (path == QLatin1String("/cbs")) {
            redirect("https://landing.example.com/page?x=1");
        } else if (path == QLatin1String("/reset")) {
            socket->write(head(200, "OK", 100000) + QByteArray(1000, 'r'));
            socket->flush();
            resetLater(socket);
        } else if (path == QLatin1String("/drip")) {
            const int chunks = query.queryItemValue(QStringLiteral("n")).toInt();
            const int every = query.queryItemValue(QStringLiteral("every")).toInt();
            const int stall = query.queryItemValue(QStringLiteral("stall")).toInt();
            socket->write(head(200, "OK", qint64(chunks) * 1000));
            drip(socket, chunks, every, stall + every);
        } else if (path == QLatin1String("/delay")) {
            QPointer<QTcpSocket> guard(socket);
            QTimer::singleShot(query.queryItemValue(QStringLiteral("ms")).toInt(), this, [guard] {
                if (guard)
                    send(guard, head(200, "OK", 4) + "late");
            });
        }
        // "/silent" and anything else: no answer.
    }

    void drip(QTcpSocket* socket, int left, int every, int wait)
    {
        QPointer<QTcpSocket> guard(socket);
        QTimer::singleShot(wait, this, [this, guard, left, every] {
            if (!guard || left <= 0)
                return;
            guard->write(QByteArray(1000, 'd'));
            if (left == 1)
                guard->disconnectFromHost();
            else
                drip(guard, left - 1, every, every);
        });
    }

    // Once the bytes are out: a reset (linger zero), not an orderly end.
    void resetLater(QTcpSocket* socket)
    {
        QPointer<QTcpSocket> guard(socket);
        QTimer::singleShot(50, this, [guard] {
            if (!guard)
                return;
#ifdef Q_OS_UNIX
            const struct linger hard = {1, 0};
            ::setsockopt(static_cast<int>(guard->socketDescriptor()), SOL_SOCKET, SO_LINGER, &hard,
                         sizeof hard);
#endif
            guard->abort();
        });
    }
};
