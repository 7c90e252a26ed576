#!/usr/bin/env bash
# Brings Breakpad, which is no Debian package, into a cache outside the source tree, and costs
# nothing when it is there.
#
#   scripts/breakpad.sh source            the sources, for the compile check
#   scripts/breakpad.sh client            and the client library that the program links
#   scripts/breakpad.sh tools             and minidump_stackwalk and dump_syms, for the tests
#   scripts/breakpad.sh --folders         where they are or would be: the sources, a blank-free
#                                         line, then what this compiler (CXX) makes of them
#
# The sources come inside the npm package "minidump": this is the one place that names its version.
set -euo pipefail

version=0.26.0
integrity=1CJ6kQDd1UawXgmht3pHKzLPuZPb8xrZlgrN+H6/3zKWsUKapTSF2FE7g2Nji/NnVi+GOsVwM8sm2md6BjJUgg==
package_url=https://registry.npmjs.org/minidump/-/minidump-$version.tgz

compiler=${CXX:-g++}
cache=${XDG_CACHE_HOME:-$HOME/.cache}/quorvane/breakpad-$version
sources=$cache/source
built=$cache/$("$compiler" -dumpmachine)-$("$compiler" -dumpfullversion 2>/dev/null || echo unknown)

fetch() { # FILE
    if command -v npm >/dev/null; then
        # The client knows of proxies and mirrors.
        (cd "$(dirname "$1")" && npm pack --silent --loglevel=error "minidump@$version" >/dev/null)
        mv "$(dirname "$1")/minidump-$version.tgz" "$1"
    else
        curl --silent --show-error --fail --location --retry 3 --output "$1" "$package_url"
    fi
}

# Everything is made beside its place and moved there whole, so that what is there is complete.
make_sources() {
    [ ! -d "$sources" ] || return 0
    echo "==> Fetching Breakpad (npm package minidump $version)"
    local work=$cache/fetching
    rm -rf "$work"
    mkdir -p "$work/tree"
    fetch "$work/package"
    local found
    found=$(openssl dgst -sha512 -binary "$work/package" | base64 -w0)
    if [ "$found" != "$integrity" ]; then
        echo "breakpad: minidump $version is not the package that was pinned (sha512 $found)" >&2
        exit 1
    fi
    # From the standard input: tar takes the drive of a Windows path for a machine's name.
    tar -xz -C "$work/tree" --strip-components=2 \
        package/deps/breakpad package/deps/third_party <"$work/package"
    # Where Breakpad's own headers look for it.
    mkdir -p "$work/tree/breakpad/src/third_party/lss"
    cp "$work/tree/third_party/lss/linux_syscall_support.h" \
        "$work/tree/breakpad/src/third_party/lss/"
    mv "$work/tree/breakpad" "$sources"
    rm -rf "$work"
}

client_units=(
    client/linux/crash_generation/crash_generation_client
    client/linux/dump_writer_common/{thread_info,ucontext_reader}
    client/linux/handler/{exception_handler,minidump_descriptor}
    client/linux/log/log
    client/linux/microdump_writer/microdump_writer
    client/linux/minidump_writer/{linux_dumper,linux_ptrace_dumper,minidump_writer,pe_file}
    client/minidump_file_writer
    common/{convert_UTF,string_conversion}
    common/linux/{elfutils,file_id,guid_creator,linux_libc_support,memory_mapped_file,safe_readlink}
)
stackwalk_units=(
    common/path_helper
    common/linux/{scoped_pipe,scoped_tmpfile}
    processor/{basic_code_modules,basic_source_line_resolver,call_stack,cfi_frame_info}
    processor/{convert_old_arm64_context,disassembler_objdump,disassembler_x86,dump_context}
    processor/{dump_object,exploitability,exploitability_linux,exploitability_win,logging,minidump}
    processor/{minidump_processor,minidump_stackwalk,pathname_stripper,process_state}
    processor/{proc_maps_linux,simple_symbol_supplier,source_line_resolver_base,stack_frame_cpu}
    processor/{stack_frame_symbolizer,stackwalk_common,stackwalker,stackwalker_address_list}
    processor/stackwalker_{amd64,arm,arm64,mips,ppc,ppc64,riscv,riscv64,sparc,x86}
    processor/{symbolic_constants_win,tokenize}
)
disassembler_units=(
    third_party/libdisasm/ia32_{implicit,insn,invariant,modrm,opcode_tables,operand,reg,settings}
    third_party/libdisasm/x86_{disasm,format,imm,insn,misc,operand_list}
)
symbol_units=(
    common/{dwarf_cfi_to_module,dwarf_cu_to_module,dwarf_line_to_module,dwarf_range_list_handler}
    common/{language,module,path_helper,stabs_reader,stabs_to_module}
    common/dwarf/{bytereader,dwarf2diehandler,dwarf2reader,elf_reader}
    common/linux/{crc32,dump_symbols,elf_symbols_to_module,elfutils,file_id,linux_libc_support}
    common/linux/{memory_mapped_file,safe_readlink}
    tools/linux/dump_syms/dump_syms
)

# compile FOLDER SUFFIX UNIT...: each unit's object, some at a time.
compile() {
    local folder=$1 suffix=$2 launcher=()
    shift 2
    mkdir -p "$folder"
    ! command -v ccache >/dev/null || launcher=(ccache)
    local standard=-std=gnu++17
    [ "$suffix" = cc ] || standard=-std=gnu11
    # In the sources' folder, so that compilations are shared wherever the cache stands.
    (cd "$sources/src" && printf '%s\n' "$@" | xargs -P "$(nproc)" -I UNIT sh -c '
        object=$1/$(echo "$2" | tr / _).o; source=$2.$3; shift 3
        exec "$@" -c "$source" -o "$object"' sh "$folder" UNIT "$suffix" \
        "${launcher[@]}" "$compiler_of_unit" "$standard" -O1 -w -fPIC -I. -DHAVE_GETCONTEXT -DHAVE_A_OUT_H)
}

make_client() {
    [ ! -f "$built/libbreakpad_client.a" ] || return 0
    echo "==> Building Breakpad's client"
    local work=$built.client
    rm -rf "$work"
    compiler_of_unit=$compiler compile "$work" cc "${client_units[@]}"
    ar rcs "$work/libbreakpad_client.a" "$work"/*.o
    mkdir -p "$built"
    mv "$work/libbreakpad_client.a" "$built/"
    rm -rf "$work"
}

make_tools() {
    [ ! -x "$built/dump_syms" ] || [ ! -x "$built/minidump_stackwalk" ] || return 0
    echo "==> Building Breakpad's tools"
    local work=$built.tools
    rm -rf "$work"
    compiler_of_unit=$compiler compile "$work/stackwalk" cc "${stackwalk_units[@]}"
    compiler_of_unit=${CC:-gcc} compile "$work/stackwalk" c "${disassembler_units[@]}"
    compiler_of_unit=$compiler compile "$work/symbols" cc "${symbol_units[@]}"
    "$compiler" "$work/stackwalk"/*.o -o "$work/minidump_stackwalk"
    "$compiler" "$work/symbols"/*.o -lz -o "$work/dump_syms"
    mkdir -p "$built"
    mv "$work/minidump_stackwalk" "$work/dump_syms" "$built/"
    rm -rf "$work"
}

make_all() { # source|client|tools
    make_sources
    [ "$1" = source ] || make_client
    [ "$1" != tools ] || make_tools
}

is_made() { # source|client|tools
    case $1 in
    source) [ -d "$sources" ] ;;
    client) [ -d "$sources" ] && [ -f "$built/libbreakpad_client.a" ] ;;
    tools) is_made client && [ -x "$built/dump_syms" ] && [ -x "$built/minidump_stackwalk" ] ;;
    esac
}

case "${1:-}" in
source | client | tools)
    is_made "$1" && exit 0
    mkdir -p "$cache"
    # Two builds at the same time take turns, where the system has the means.
    exec 9>"$cache/lock"
    ! command -v flock >/dev/null || flock 9
    make_all "$1"
    ;;
--folders) printf '%s\n' "$sources" "$built" ;;
*)
    sed -n '2,13s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac
