"""Shows ZelJSONValue in gdb: `source ZelREKernel.m/debuggers/zel_json.py`, then `print value`.

The library needs debug information. Members that were added one by one show where the
standard library's own pretty-printers are loaded.
"""

import gdb
import gdb.printing

NULL, INT, UINT, LONG_LONG, ULONG_LONG, FLOAT, DOUBLE, STRING, BOOLEAN, ARRAY, OBJECT = range(11)
SCALARS = {INT: 'intNumber', UINT: 'uintNumber', LONG_LONG: 'longLongNumber',
           ULONG_LONG: 'ulongLongNumber', FLOAT: 'floatNumber', DOUBLE: 'doubleNumber'}
OUT_OF_LINE, EXTENDED = 0x80000000, 0x2000
FIRST_SEGMENT, GROWING_SEGMENTS, SPARSE_WAYS = 8, 9, 16


def bytes_at(address, length):
    text = gdb.selected_inferior().read_memory(int(address), length).tobytes()
    return '"' + text.decode('utf-8', 'replace') + '"'


def text_of(slot):
    aux = int(slot['aux'])
    if aux < OUT_OF_LINE:
        return bytes_at(slot.address, 11 - (aux >> 24))
    text = slot['payload']['text']
    return '<null text>' if int(text) == 0 else text.string('utf-8', 'replace').join('""')


def name_of(key):
    free = int(key['text'][15]) & 0xFF
    if free < 0x80:
        return bytes_at(key.address, 15 - free)
    return bytes_at(key['longer']['pointer'], int(key['longer']['length']))


def container_of(slot):
    address = int(slot['payload']['container'])
    if address == 0:
        return None
    return gdb.Value(address).cast(gdb.lookup_type('ZelJSON::Container').pointer())


def tail_of(container, name):
    if not int(container['flags']) & EXTENDED:
        return None
    return container['extension'].cast(gdb.lookup_type('ZelJSON::' + name).pointer())


def pairs(tree):
    """The keys and values of a std::map."""
    printer = gdb.default_visualizer(tree)
    items = [value for _, value in printer.children()] if printer else []
    return zip(items[0::2], items[1::2])


def leaves(node, level, index):
    """The indices and slots below a node of an array's sparse elements."""
    if int(node) == 0:
        return
    kind = 'Inner' if level else 'Leaf'
    node = node.cast(gdb.lookup_type('ZelJSON::SparseElements::' + kind).pointer())
    for digit in range(SPARSE_WAYS):
        if level:
            yield from leaves(node['children'][digit], level - 1, (index + digit) * SPARSE_WAYS)
        elif int(node['present']) >> digit & 1:
            yield index + digit, node['slots'][digit]


def elements(container, value):
    run = (container + 1).cast(value)
    count = int(container['count'])
    for i in range(count):
        yield '[%d]' % i, run[i]
    tail = tail_of(container, 'ArrayExtension')
    if tail is None:
        return
    segment, left = 0, int(tail['dense'])
    first = tail['segments']['_M_impl']['_M_start']
    while left > 0:
        size = min(left, FIRST_SEGMENT << min(segment, GROWING_SEGMENTS))
        for i in range(size):
            yield '[%d]' % (count + i), first[segment].cast(value)[i]
        segment, left, count = segment + 1, left - size, count + size
    sparse = tail['sparse']
    for index, slot in leaves(sparse['root_'], int(sparse['level_']), 0):
        yield '[%d]' % index, slot.address.cast(value).dereference()


def members(container, value):
    run = (container + 1).cast(gdb.lookup_type('ZelJSON::Member').pointer())
    for i in range(int(container['count'])):
        yield name_of(run[i]['key']), run[i]['value'].address.cast(value).dereference()
    tail = tail_of(container, 'ObjectExtension')
    if tail is not None:
        for key, slot in pairs(tail['added']):
            yield name_of(key), slot.address.cast(value).dereference()


class ValuePrinter:
    def __init__(self, value):
        self.value = value
        self.slot = value['slot_']
        self.type = int(self.slot['type'])

    def to_string(self):
        if self.type == NULL:
            return 'null'
        if self.type in SCALARS:
            return str(self.slot['payload'][SCALARS[self.type]])
        if self.type == BOOLEAN:
            return 'true' if self.slot['payload']['boolean'] else 'false'
        if self.type == STRING:
            return text_of(self.slot)
        return {ARRAY: 'array', OBJECT: 'object'}.get(self.type, 'unknown type %d' % self.type)

    def children(self):
        container = container_of(self.slot) if self.type in (ARRAY, OBJECT) else None
        if container is not None:
            walk = elements if self.type == ARRAY else members
            yield from walk(container, self.value.type.strip_typedefs().unqualified().pointer())


def register():
    printers = gdb.printing.RegexpCollectionPrettyPrinter('ZelREKernel-json')
    printers.add_printer('ZelJSONValue', '^ZelJSONValue$', ValuePrinter)
    gdb.printing.register_pretty_printer(None, printers, replace=True)


register()
