#!/usr/bin/python

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: nvme_firmware_info
short_description: List the NVMe SSDs of a server
version_added: 1.1.0
author:
  - NVMe PCIe SSD component maintainers (@nvmepcissd)
description:
  - Tells serial number, model and running revision of every drive, without any policy.
  - With O(component), the component takes an inventory, as C(nvmepcissd-tool inventory) does. Without it, the kernel is
    asked, as by C(nvmepcissd-tool drives), which tells firmware slots, health and use as well.
options:
  component:
    description: The component folder on the server.
    type: path
  tool:
    description: The command to call.
    type: path
    default: /usr/bin/nvmepcissd-tool
attributes:
  check_mode:
    description: Nothing is changed in any mode.
    support: full
  diff_mode:
    description: Nothing is changed.
    support: none
seealso:
  - module: nvmepcissd.fleet.nvme_firmware
"""

EXAMPLES = r"""
- name: List the drives that the component finds
  nvmepcissd.fleet.nvme_firmware_info:
    component: /usr/libexec/nvmepcissd
"""

RETURN = r"""
drives:
  description: Every drive, as in the JSON of C(nvmepcissd-tool).
  returned: always
  type: list
  elements: dict
outcome:
  description: V(done), or V(undecided) when a drive does not tell its revision or there is no inventory.
  returned: always
  type: str
reasons:
  description: What the tool has to say about the server as a whole.
  returned: always
  type: list
  elements: str
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.nvmepcissd.fleet.plugins.module_utils.tool import Refusal, call


def main():
    module = AnsibleModule(
        argument_spec={
            "component": {"type": "path"},
            "tool": {"type": "path", "default": "/usr/bin/nvmepcissd-tool"},
        },
        supports_check_mode=True)
    component = module.params["component"]
    try:
        answer = call(module.params["tool"], ["inventory", component] if component else ["drives"])
    except Refusal as refusal:
        module.fail_json(msg=str(refusal), drives=[], outcome="refused", reasons=[str(refusal)])
    module.exit_json(changed=False, drives=answer["drives"], outcome=answer["outcome"], reasons=answer["reasons"])


if __name__ == "__main__":
    main()
