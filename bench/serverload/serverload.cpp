// A bounded load on one route of a service on loopback: CLIENTS threads, each
// with its own kept-alive connection, send REQUESTS GET requests in all and
// time each one:
//
//   tessly-bench-serverload ORIGIN PATH REQUESTS CLIENTS [HEADER: VALUE]...
//
// Prints "rps N p50 MS p99 MS failed N" on stdout. Only loopback origins are
// accepted, so that the benchmark never loads another machine.
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

int main(int argc, char **argv)
{
    if (argc < 5) {
        std::fprintf(stderr, "usage: tessly-bench-serverload ORIGIN PATH REQUESTS CLIENTS [HEADER: VALUE]...\n");
        return 2;
    }
    const std::string origin = argv[1], path = argv[2];
    const int requests = std::stoi(argv[3]), clients = std::stoi(argv[4]);
    if (origin.rfind("http://127.", 0) != 0 || requests < 1 || requests > 1000000 || clients < 1 || clients > 256) {
        std::fprintf(stderr, "serverload: ORIGIN must be http://127.x.x.x:PORT, REQUESTS 1..1000000, CLIENTS 1..256\n");
        return 2;
    }
    httplib::Headers headers;
    for (int i = 5; i < argc; ++i) {
        const std::string header = argv[i];
        const auto colon = header.find(": ");
        if (colon != std::string::npos)
            headers.emplace(header.substr(0, colon), header.substr(colon + 2));
    }

    std::atomic<int> next { 0 }, failed { 0 };
    std::vector<std::vector<double>> latencies(static_cast<std::size_t>(clients));
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (int c = 0; c < clients; ++c)
        threads.emplace_back([&, c] {
            httplib::Client client(origin);
            client.set_keep_alive(true);
            client.set_connection_timeout(10);
            client.set_read_timeout(10);
            auto &mine = latencies[static_cast<std::size_t>(c)];
            while (next.fetch_add(1) < requests) {
                const auto sent = std::chrono::steady_clock::now();
                auto reply = client.Get(path.c_str(), headers);
                const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - sent;
                if (!reply || reply->status != 200)
                    ++failed;
                mine.push_back(took.count());
            }
        });
    for (auto &thread : threads)
        thread.join();
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;

    std::vector<double> all;
    for (const auto &mine : latencies)
        all.insert(all.end(), mine.begin(), mine.end());
    std::sort(all.begin(), all.end());
    auto percentile = [&](double p) { return all[std::min(all.size() - 1, static_cast<std::size_t>(p * all.size()))]; };
    std::printf("rps %.0f p50 %.2f p99 %.2f failed %d\n", static_cast<double>(all.size()) / wall.count(),
        percentile(0.50), percentile(0.99), failed.load());
    return failed.load() == 0 ? 0 : 1;
}
