# Sourced by scripts/solve and scripts/test: makes sure that the Debian packages of a build are there.
# Nothing is asked and nothing is fetched when all of them are present.
#
# need_packages ROW...   each row is "package:probe"; a probe is a command name, or a header in <>.
# Installs the packages whose probe fails when this is root or sudo works without a password;
# otherwise names them on standard error and returns 1.

# The rows of a plain build of the library and the program.
TARQ_BUILD_PACKAGES=(
    "g++:g++" "cmake:cmake" "ninja-build:ninja" "flex:flex" "bison:bison"
    "libgmp-dev:<gmpxx.h>" "libcli11-dev:<CLI/CLI.hpp>"
)
# What the tests need besides.
TARQ_TEST_PACKAGES=(
    "libgtest-dev:<gtest/gtest.h>" "libmpfr-dev:<mpfr.h>" "z3:z3" "minisat:minisat" "python3:python3" "pkg-config:pkg-config"
)

# What one example plugs in; without it that example is left out.
TARQ_OPTIONAL_PACKAGES=("libcadical-dev:<ccadical.h>")

package_present() {
    case "$1" in
    \<*\>)
        # The compiler knows its search path; without one, the package counts as missing.
        command -v g++ >/dev/null || return 1
        printf '#if !__has_include(%s)\n#error\n#endif\n' "$1" |
            g++ -std=c++20 -x c++ -E - >/dev/null 2>&1
        ;;
    *)
        command -v "$1" >/dev/null
        ;;
    esac
}

need_packages() {
    local row missing=() run=()
    for row in "$@"; do
        package_present "${row#*:}" || missing+=("${row%%:*}")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if command -v apt-get >/dev/null; then
        if [ "$(id -u)" -eq 0 ]; then
            run=(env)
        elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
            run=(sudo -n)
        fi
    fi
    if [ ${#run[@]} -eq 0 ]; then
        echo "These Debian packages are missing: ${missing[*]}" >&2
        echo "Install them and run this again: sudo apt-get install ${missing[*]}" >&2
        return 1
    fi
    echo "Installing ${missing[*]}" >&2
    {
        "${run[@]}" DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
            "${missing[@]}" ||
            { "${run[@]}" apt-get update &&
                "${run[@]}" DEBIAN_FRONTEND=noninteractive apt-get install -y \
                    --no-install-recommends "${missing[@]}"; }
    } >&2
}
