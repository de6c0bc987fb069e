# Tessaron on Debian 12, from Debian's packages alone: one stage builds the Debian package, the other installs it.
FROM debian:12 AS build
RUN apt-get update && apt-get install -y --no-install-recommends g++ cmake make python3 dpkg-dev file
COPY . /tessaron
WORKDIR /tessaron
RUN cmake -S . -B /build -DTESSARON_TESTS=OFF -DTESSARON_BENCH=OFF \
    && cmake --build /build -j"$(nproc)" \
    && cpack --config /build/CPackConfig.cmake -B /package

FROM debian:12
COPY --from=build /package/tessaron_*.deb /tmp/
RUN apt-get update && apt-get install -y --no-install-recommends /tmp/tessaron_*.deb \
    && rm -rf /var/lib/apt/lists/* /tmp/tessaron_*.deb
# Matplotlib and others keep caches at home, which a user who is told by number has not.
ENV HOME=/tmp
WORKDIR /data
CMD ["tessaron"]
