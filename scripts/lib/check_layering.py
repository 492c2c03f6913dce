#!/usr/bin/env python3
"""No include circle, no broken floor, and umbrella headers that hold exactly the public headers.

A header and its sources count as one unit, on every operating system, so a circle that a forward
declaration hides and a .cpp closes is found as well.
"""

import collections
import re

import tree

FLOORS = [["base"], ["core"], ["memory"], ["profiling"], ["tasks"],
          ["json", "asyncio", "diagnostics", "statistics"]]
FLOOR_OF = {group: level for level, groups in enumerate(FLOORS) for group in groups}
KERNEL_FILE = re.compile(tree.KERNEL + r"/(?:include/ZelREKernel|src)/([^/]+)/(?:.*/)?([^/]+)\.\w+$")


def kernel_group(path):
    match = KERNEL_FILE.match(path)
    return match.group(1) if match else None


def unit(path):
    """The name that a header and its sources share."""
    match = KERNEL_FILE.match(path)
    if match:
        return match.group(1) + "/" + match.group(2)
    stem = path.rsplit(".", 1)[0]
    if path.startswith(tree.HOST):
        return "MekHost/" + stem.rsplit("/", 1)[1]
    return re.sub(r"/(linux|windows)/", "/", stem)


def check_floors(problems):
    for path in tree.sources():
        if path in tree.UMBRELLA.values():
            continue
        if path.startswith(tree.KERNEL) and kernel_group(path) not in FLOOR_OF:
            problems.append(f"{path}: its folder has no floor")
            continue
        for number, name in tree.includes(path):
            target = tree.resolve(path, name)
            where = f"{path}:{number}: "
            if path.startswith(tree.HOST):
                if name.startswith("ZelREKernel/") or (target or "").startswith(tree.KERNEL):
                    problems.append(where + f"the host services include {name} of the kernel")
            elif path.startswith(tree.KERNEL):
                check_kernel_include(path, target, where, problems)
            elif target and "/src/" in target and not target.startswith(path.split("/")[0]):
                problems.append(where + f"{target} is private to its library")


def check_kernel_include(path, target, where, problems):
    group = kernel_group(path)
    if target is None:
        return
    if target.startswith(tree.HOST):
        if not target.startswith(tree.PUBLIC[tree.HOST]):
            problems.append(where + f"{target} is private to the host services")
        return
    if target in tree.UMBRELLA.values():
        problems.append(where + "the umbrella header is for users, not for the kernel")
        return
    if path.startswith(tree.PUBLIC[tree.KERNEL]) and not target.startswith(
            tree.PUBLIC[tree.KERNEL]):
        problems.append(where + f"a public header includes the private {target}")
    other = kernel_group(target)
    if other not in FLOOR_OF or other == group:
        return
    if FLOOR_OF[other] > FLOOR_OF[group]:
        problems.append(where + f"{group} includes {other}, which stands above it")
    elif FLOOR_OF[other] == FLOOR_OF[group]:
        problems.append(where + f"{group} includes {other}, its neighbour on the top floor")


def check_umbrellas(problems):
    for module, umbrella in tree.UMBRELLA.items():
        wanted = set(tree.public_headers(module)) - {umbrella}
        present = [tree.resolve(umbrella, name) for _, name in tree.includes(umbrella)]
        for path in sorted(wanted - set(present)):
            problems.append(f"{umbrella}: {path} is missing")
        for number, name in tree.includes(umbrella):
            if name not in tree.GENERATED and tree.resolve(umbrella, name) not in wanted:
                problems.append(f"{umbrella}:{number}: {name} is no public header of the library")


def unit_graph():
    """unit -> {included unit: the include that says so}"""
    graph = collections.defaultdict(dict)
    for path in tree.sources():
        if path in tree.UMBRELLA.values():
            continue
        for number, name in tree.includes(path):
            target = tree.resolve(path, name)
            if target and target not in tree.UMBRELLA.values() and unit(target) != unit(path):
                graph[unit(path)].setdefault(unit(target), f"{path}:{number}: includes {name}")
    return graph


def shortest_circle(graph, start):
    """Breadth-first from `start` back to it: the units on the way, or None."""
    came_from, queue = {}, collections.deque([start])
    while queue:
        current = queue.popleft()
        for following in sorted(graph.get(current, ())):
            if following == start:
                circle = [current]
                while circle[-1] != start:
                    circle.append(came_from[circle[-1]])
                return circle[::-1]
            if following not in came_from:
                came_from[following] = current
                queue.append(following)
    return None


def check_circles(problems):
    graph, reported = unit_graph(), set()
    for start in sorted(graph):
        circle = None if start in reported else shortest_circle(graph, start)
        if circle is None:
            continue
        reported.update(circle)
        problems.append("include circle: " + " -> ".join(circle + [start]))
        for here, there in zip(circle, circle[1:] + [start]):
            problems.append("    " + graph[here][there])


def check_self_includes(problems):
    for path in tree.sources():
        for number, name in tree.includes(path):
            if tree.resolve(path, name) == path:
                problems.append(f"{path}:{number}: the file includes itself")


def main():
    problems = []
    check_floors(problems)
    check_umbrellas(problems)
    check_circles(problems)
    check_self_includes(problems)
    tree.finish(problems)


if __name__ == "__main__":
    main()
