#!/bin/sh
# vendorLibrary.sh configure|build|conformance DIRECTORY SOURCE SANITIZE ARCHIVE...: the daemon on a vendor's platform library, for
# which the bundled engine stands, merged into one archive. Any warning of CMake's is a failure.
set -eu
step=$1
directory=$2
source=$3
sanitize=$4
shift 4

mkdir -p "$directory"
library=$directory/libvendor.a
rm -f "$library"
{
    echo "CREATE $library"
    for archive; do
        echo "ADDLIB $archive"
    done
    echo SAVE
    echo END
} | ar -M

if [ "$step" = conformance ]; then
    # The surroundings of the bundled engine are those of this one.
    export BUILD="$directory/$step" SANITIZE="$sanitize" CXXFLAGS="-I$source"
    exec "$source/tests/conformance/run" "$library;sqlite3;systemd;json-c" "$source/tests/conformance/localEngine.cpp" \
        --output-on-failure
fi

"${CMAKE:-cmake}" -S "$source" -B "$directory/$step" -G Ninja -Werror=dev -DBUILD_TESTING=OFF \
    -DCMAKE_BUILD_TYPE=Debug "-DRECEIVER_SANITIZE=$sanitize" \
    "-DPLATFORM_LIBRARY=$library;sqlite3;systemd;json-c" >"$directory/$step.log" 2>&1 || {
    cat "$directory/$step.log"
    exit 1
}
if grep -i 'warning' "$directory/$step.log"; then
    exit 1
fi
[ "$step" = build ] || exit 0

"${CMAKE:-cmake}" --build "$directory/$step"
# Without its one argument the daemon says so and ends.
said=$("$directory/$step/bin/externalComd") && exit 1
[ "$(printf '%s' "$said" | tr -d '\r\n')" = 'parameter number error!!!' ]
