package vendor.tav.lumvndhal_aidl;

import android.hardware.common.fmq.MQDescriptor;
import android.hardware.common.fmq.SynchronizedReadWrite;
import vendor.tav.lumvndhal_aidl.LumvndhalGenericData;

/**
 * Device facts, data-collection campaigns, files of the vendor dropbox and bulk transfer.
 *
 * Every method returns the OK status; whether the work was done is told by its result. Calls are
 * answered one after the other. Paths are relative to the dropbox root, begin with a slash and must
 * not contain "..".
 */
@VintfStability
interface ILumvndhal {
    /**
     * Attaches the service to the client's message queue in place of the one attached before. What
     * was in the queue is discarded.
     *
     * @param desc Queue of bytes, written by the client alone and read by the service alone.
     * @return Whether the service now holds a usable queue. If not, it holds none.
     */
    boolean configure(in MQDescriptor<byte, SynchronizedReadWrite> desc);

    /**
     * Takes bytes out of the attached queue and stores them as a file, replacing one that is there.
     *
     * @param path File in the dropbox; its directory must exist.
     * @param count Number of bytes, at least 1; they must have been written to the queue.
     * @return Whether the file now holds exactly these bytes. Without enough bytes in the queue
     *         nothing happens and the call may be repeated. A count below 1 or an empty path makes
     *         the service let go of the queue.
     */
    boolean request_read(in String path, int count);

    /**
     * Asks for one piece of vendor data: "BUILDID", "LUMTR_VERSION", "CHIPSET_SERIAL",
     * "statusCamp;<module>" or "collectorsState".
     *
     * @param cmd What is asked for.
     * @param vnd_data The answer.
     * @return 0 when the command is known. An unknown command is not answered: both the result and
     *         the reply are left as they were.
     */
    int get_vnd_data(in String cmd, out LumvndhalGenericData vnd_data);

    /**
     * Hands over a block of network statistics ("LUMNETSTATS") or a campaign command ("startCamp",
     * "stopCamp", "startModuleCamp", "stopModuleCamp", "cmdOptIn", "cmdOptout").
     *
     * @param cmd The command word.
     * @param param What the command applies to.
     * @return 0 when it was handed over, -1 when the parameter was refused or could not be stored.
     *         For an unknown command the result is left as it was.
     */
    int set_vnd_data(in String cmd, in String param);

    /**
     * Makes one directory, or removes a directory with everything below it.
     *
     * @param path Directory in the dropbox; the directory that holds it must exist.
     * @param create True to make it, false to remove it.
     * @return 0 when it was made or something is already there, and after every removal, whatever
     *         could be removed; -1 when the path was refused or the directory cannot be made.
     */
    int update_vendor_dropbox(in String path, boolean create);

    /**
     * Stores a file, replacing one that is there.
     *
     * @param spath File in the dropbox; its directory must exist.
     * @param data What the file is to hold.
     * @param length Number of bytes in data, or 0 for an empty file.
     * @return Whether the file was written as asked.
     */
    boolean write_data_to_vendor_dropbox(in String spath, in byte[] data, int length);
}
